// The commands that show what the running agent answers. Each returns the exit code, and raises
// std::exception with one line for an agent that cannot be asked.
#pragma once

#include "command/CommandLine.h"

namespace Command {

int showStatus(Subcommand const & command);
int showMessages(Subcommand const & command);

}  // namespace Command
