// `storagedevices init`: proposes the appliance's files for this machine.
#pragma once

#include <optional>
#include <string>

#include "agent/config/Config.h"
#include "command/machine/Proposal.h"

namespace Command {

// The two files, and what they contain.
struct ProposedFiles {
   std::string blockdevPath;
   std::string blockdev;
   std::string configPath;
   std::string expectedMounts;  // the line of the configuration; empty: it is there
   bool hasConfig = false;      // another configuration is there
};

// `config` is the present configuration; nothing: there is none at `configPath`.
ProposedFiles proposedFiles(Proposal const & proposal, std::optional<Agent::Config> const & config,
                            std::string const & configPath);

// Each disk with the reasons, then the files. Texts from devices are escaped.
std::string proposalText(Proposal const & proposal, ProposedFiles const & files);

// Prints the proposal for this machine. With `write` it makes the files that do not exist, and leaves the
// others as they are. Returns the exit code: 1 if a file must be changed by hand, which a line on standard
// error says. Raises std::exception with one line.
int init(std::optional<std::string> const & configPath, bool write);

}  // namespace Command
