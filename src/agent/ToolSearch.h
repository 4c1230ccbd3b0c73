// Which of the tools that the monitors run are on this machine.
#pragma once

#include <string>

namespace Agent {

// Where the program is on a search path (directories with colons between them); empty when it is nowhere.
std::string findTool(std::string const & name, std::string const & searchPath);

// A line per tool: where it is, or what is not known without it.
std::string toolsText(std::string const & searchPath);

}  // namespace Agent
