// The commands that show what the running agent answers. Each returns the exit code, and raises
// std::exception with one line for an agent that cannot be asked, unless it says otherwise.
#pragma once

#include "command/CommandLine.h"

namespace Command {

int showStatus(Subcommand const & command);
int showMessages(Subcommand const & command);

// Of one disk as JSON: the document as it is served; of all: an object with the document of each.
int showHistory(Subcommand const & command);

// Returns the exit code of a monitoring plugin. An agent that cannot be asked within five seconds is an
// answer too: unknown.
int showCheck(Subcommand const & command);

}  // namespace Command
