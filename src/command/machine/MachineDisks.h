// The disks of this machine, as `storagedevices init` needs to know them.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "StorageDevices/DiscoveryPreview.h"
#include "command/machine/PortPattern.h"

namespace Command {

// Texts come from devices and file systems: not escaped.
struct MachineDisk {
   std::string device;  // node
   std::string serial;  // udev's
   std::string path;    // below /sys/devices
   PortPattern port{};
   bool isRemovable = false;  // it is made to be pulled: a USB stick, a card
   bool isUsb = false;
   std::vector<std::string> mountPoints{};  // of its file systems, in the mount table's order
   std::vector<std::string> users{};        // devices that are made of it, such as "md0"
   std::string obstacle{};  // why discovery skips it, whatever blockdev lists; empty: it does not
};

// The devices that are disks by their names, in the order of these. Loop devices, optical drives, mapped
// devices and the like are left out. Raises std::runtime_error with one line if udev cannot list them.
std::vector<MachineDisk> machineDisks(std::filesystem::path const & etcDir);

// How discovery would classify each device with that text as the file blockdev, and with the other files of
// `etcDir`.
StorageDevices::DiscoveryPreview previewWith(std::string_view blockdev, std::filesystem::path const & etcDir,
                                             std::vector<std::string> const & expectedMounts);

}  // namespace Command
