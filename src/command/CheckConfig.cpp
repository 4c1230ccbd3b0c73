#include "command/CheckConfig.h"

#include <algorithm>

#include "base/Text.h"

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

bool isMountedBy(StorageDevices::PreviewedDevice const & device, std::string const & mount) {
   return device.outcome != "skipped" && device.reason.starts_with("/mnt/" + mount + ",");
}

std::string missingText(Agent::Config const & config, StorageDevices::DiscoveryPreview const & preview) {
   std::string text;
   for (std::string const & mount : config.appliance.expectedMounts) {
      auto const & devices = preview.devices;
      if (std::none_of(devices.begin(), devices.end(),
                       [&](auto const & device) { return isMountedBy(device, mount); }))
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

}  // namespace Command
