// Writes files that must not replace others.
#pragma once

#include <filesystem>
#include <string_view>

namespace Command {

// Makes the file, and its folder, with that text, whole or not at all, for everybody to read. Answers false,
// and changes nothing, where the path exists, be it a link to nowhere. Raises std::system_error, which names
// the path.
bool writeNewFile(std::filesystem::path const & path, std::string_view text);

}  // namespace Command
