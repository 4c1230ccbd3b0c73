// Which of the tools that the monitors run are on this machine.
#pragma once

#include <string>

namespace Agent {

// The programs that the monitors run and may have exit codes of their own.
inline constexpr char const * toolNames[] = {"hdparm", "nvme", "smartctl"};

// Where the program is on a search path (directories with colons between them); empty when it is nowhere.
std::string findTool(std::string const & name, std::string const & searchPath);

// A line per tool: where it is, or what is not known without it.
std::string toolsText(std::string const & searchPath);

}  // namespace Agent
