// Standard output of the command.
#pragma once

#include <string_view>

namespace Command {

// Writes the text at once. Raises std::system_error where it cannot be written.
void print(std::string_view text);

}  // namespace Command
