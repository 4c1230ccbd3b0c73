// Which of the tools that the monitors run are on this machine.
#pragma once

#include <string>

namespace Agent {

// The programs that the monitors run and may have exit codes of their own.
inline constexpr char const * toolNames[] = {"hdparm", "nvme", "smartctl"};

// A line per tool: where it is found when it is run, with the directories of `toolPath` (colons between them)
// before PATH, or what is not known without it.
std::string toolsText(std::string const & toolPath);

}  // namespace Agent
