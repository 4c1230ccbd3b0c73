// The tools that the monitors run, and where they are on this machine.
#pragma once

#include <string>

namespace Command {

// A line per tool. It says where the tool is found, with the directories of `toolPath` (colons between them)
// before PATH, or what is unknown without it.
std::string toolsText(std::string const & toolPath);

}  // namespace Command
