#include "command/machine/Init.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "agent/config/ConfigFile.h"
#include "agent/config/ProgramEnd.h"
#include "base/DefaultPaths.h"
#include "base/Text.h"
#include "command/Output.h"
#include "command/machine/NewFile.h"

namespace Command {

namespace {

namespace fs = std::filesystem;

std::string expectedLine(std::vector<std::string> const & mounts) {
   std::string text;
   for (std::string const & mount : mounts)
      text += (text.empty() ? "\"" : ", \"") + mount + "\"";
   return "expected_mounts = [" + text + "]";
}

std::string configText(ProposedFiles const & files) {
   return "[appliance]\n" + files.expectedMounts + "\n";
}

// A line, and an indented one for each reason.
std::string paragraph(ProposedDisk const & proposed) {
   std::string const place = proposed.mount.empty() ? "not listed"
                             : proposed.isFixed     ? "fixed at /mnt/" + proposed.mount
                                                    : "listed as /mnt/" + proposed.mount;
   std::string const serial = proposed.disk.serial.empty() ? "" : " (" + proposed.disk.serial + ")";
   std::string text = Base::escaped(proposed.disk.device + serial + ": " + place) + "\n";
   for (std::string const & reason : proposed.reasons)
      text += "    " + Base::escaped(reason) + "\n";
   return text;
}

std::string paragraphs(Proposal const & proposal) {
   std::string text;
   for (ProposedDisk const & each : proposal.disks)
      text += paragraph(each);
   return text;
}

// A disk that is listed at a place where it is not mounted.
bool isElsewhere(ProposedDisk const & each) {
   auto const & mountPoints = each.disk.mountPoints;
   return !each.mount.empty() &&
          std::find(mountPoints.begin(), mountPoints.end(), "/mnt/" + each.mount) == mountPoints.end();
}

Proposal verifiedProposal(fs::path const & etcDir) {
   Proposal result = proposal(machineDisks(etcDir));
   verify(result, previewWith(result.blockdev(), etcDir, result.expectedMounts()));
   return result;
}

int writeFiles(ProposedFiles const & files) {
   if (!writeNewFile(files.blockdevPath, files.blockdev))
      return Agent::failWith(
          Agent::exitFailed,
          files.blockdevPath +
              ": exists, and nothing was written: compare it with the proposal, or move it away");
   print(files.blockdevPath + ": written\n");
   if (files.expectedMounts.empty())
      return 0;
   if (files.hasConfig || !writeNewFile(files.configPath, configText(files)))
      return Agent::failWith(Agent::exitFailed,
                             files.configPath +
                                 ": exists, and was left as it is: write into its table [appliance] " +
                                 files.expectedMounts);
   print(files.configPath + ": written\n");
   return 0;
}

}  // namespace

ProposedFiles proposedFiles(Proposal const & proposal, std::optional<Agent::Config> const & config,
                            std::string const & configPath) {
   ProposedFiles files{(config ? config->appliance.etcDir : Agent::Config{}.appliance.etcDir) + "/blockdev",
                       proposal.blockdev(), configPath, "", config.has_value()};
   auto mounts = config ? config->appliance.expectedMounts : std::vector<std::string>{};
   std::sort(mounts.begin(), mounts.end());
   if (!config || mounts != proposal.expectedMounts())
      files.expectedMounts = expectedLine(proposal.expectedMounts());
   return files;
}

std::string proposalText(Proposal const & proposal, ProposedFiles const & files) {
   std::string text = paragraphs(proposal);
   if (std::any_of(proposal.disks.begin(), proposal.disks.end(), isElsewhere))
      text +=
          "\nAt each start the agent logs once that a listed disk is not mounted in place.\n"
          "Delete its line of blockdev if it need not be watched.\n";
   text += "\n" + files.blockdevPath + ":\n" + files.blockdev;
   if (!files.expectedMounts.empty())
      text += "\n" + files.configPath + (files.hasConfig ? ", to be changed:\n" : ":\n") + configText(files);
   return text;
}

int init(std::optional<std::string> const & configPath, bool write) {
   std::string const path = configPath.value_or(Base::defaultConfigPath);
   std::error_code error;
   std::optional<Agent::Config> config;
   if (fs::exists(fs::symlink_status(path, error)))
      config = Agent::configAt(path);
   std::string const etcDir = (config ? *config : Agent::Config{}).appliance.etcDir;
   Proposal const proposed = verifiedProposal(etcDir);
   ProposedFiles const files = proposedFiles(proposed, config, path);
   if (files.blockdev.empty()) {
      print(paragraphs(proposed));
      throw std::runtime_error{
          "no disk of this machine can be listed: \"storagedevices check-config\" shows why"};
   }
   print(proposalText(proposed, files) + "\n");
   if (write)
      return writeFiles(files);
   print("\"storagedevices init --write\" writes what does not exist yet.\n");
   return 0;
}

}  // namespace Command
