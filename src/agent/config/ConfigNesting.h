// Detects configuration files that would make the TOML parser, or the destruction of its result, recurse too
// deeply. The parser bounds nested values, but not the parts of a dotted name.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace Agent {

// The line (from 1) at which a TOML text first nests brackets more than 16 deep or uses a name of more than
// 16 parts. Nothing if it never does. The parser itself refuses invalid TOML.
std::optional<std::size_t> tooDeepConfigLine(std::string_view text);

}  // namespace Agent
