#include "command/machine/CheckConfig.h"

#include <algorithm>
#include <filesystem>
#include <vector>

#include "agent/config/ApplianceConfig.h"
#include "agent/config/ConfigFile.h"
#include "agent/config/ProgramEnd.h"
#include "base/DefaultPaths.h"
#include "base/Text.h"
#include "command/Output.h"
#include "command/machine/ToolSearch.h"

namespace Command {

namespace {

std::string filesText(Agent::Config const & config, StorageDevices::DiscoveryPreview const & preview) {
   std::string const file = config.appliance.etcDir + "/blockdev";
   if (!preview.blockdevReadable)
      return file +
             ": cannot be read, so every device is skipped; it must contain pairs of a path pattern "
             "and a mount name\n";
   if (preview.blockdevEntries == 0)
      return file + ": has no entry, so every device is skipped\n";
   return file + ": " + std::to_string(preview.blockdevEntries) +
          (preview.blockdevEntries == 1 ? " entry\n" : " entries\n");
}

std::string missingText(Agent::Config const & config, StorageDevices::DiscoveryPreview const & preview) {
   std::string text;
   for (std::string const & mount : config.appliance.expectedMounts) {
      auto const & devices = preview.devices;
      if (std::none_of(devices.begin(), devices.end(),
                       [&](auto const & device) { return device.mountPoint == "/mnt/" + mount; }))
         text.append("expected mount ")
             .append(mount)
             .append(": no disk of this machine is classified as /mnt/")
             .append(mount)
             .append("\n");
   }
   return text;
}

}  // namespace

std::string checkConfigText(Agent::Config const & config, std::string const & sourceLine,
                            StorageDevices::DiscoveryPreview const & preview) {
   std::string text = sourceLine + "\n" + filesText(config, preview);
   if (!preview.udevAvailable)
      return text + "udev: its devices cannot be listed: " + preview.udevError + "\n";
   if (preview.devices.empty())
      text += "udev knows no disk on this machine\n";
   for (StorageDevices::PreviewedDevice const & device : preview.devices)
      text += Base::escaped(device.device) + ": " + device.outcome + ": " + Base::escaped(device.reason) +
              "\n    path " + Base::escaped(device.sysPath) + "\n";
   return text + missingText(config, preview);
}

int checkConfig(std::optional<std::string> const & configPath) {
   Agent::Config const config = Agent::configAt(configPath);
   bool const present = configPath || std::filesystem::exists(Base::defaultConfigPath);
   std::string source = configPath.value_or(Base::defaultConfigPath);
   source += present ? ": valid" : ": does not exist; the defaults are used";
   auto const preview = StorageDevices::previewDiscovery(Agent::fruConfigOf(config));
   print(checkConfigText(config, source, preview) + toolsText(config.tools.path));
   std::vector<std::string> errors = preview.errors;
   if (auto const error = Agent::mountSourceError(config.appliance.mountSourceDir))
      errors.push_back(*error);
   for (std::string const & error : errors)
      Agent::failWith(Agent::exitWrongUsage, error);
   return errors.empty() ? 0 : Agent::exitWrongUsage;
}

}  // namespace Command
