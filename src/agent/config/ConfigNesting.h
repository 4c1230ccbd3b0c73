// Keeps configuration files out of the TOML parser that would make it, or the destruction of what it
// returns, recurse too deeply: it bounds nested values, but not the parts of a dotted name.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace Agent {

// The line (from 1) at which a TOML text first nests brackets more than 16 deep or uses a name of more
// than 16 parts; empty if it never does. What is no TOML is left for the parser to refuse.
std::optional<std::size_t> tooDeepConfigLine(std::string_view text);

}  // namespace Agent
