// A preview of discovery on this machine, for a host that explains a configuration.
#pragma once

#include <string>
#include <vector>

#include "StorageDevices/Export.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/model/FruConfig.h"

namespace StorageDevices {

struct STORAGEDEVICES_API PreviewedDevice {
   std::string device;      // node, or the kernel's name for a device without one
   std::string sysPath;     // below /sys/devices; blockdev's patterns are matched with it
   std::string outcome;     // "skipped", "removable" or "fixed"
   std::string reason;      // why it is skipped; or its mount point, bus, size and collector
   std::string serial;      // udev's; empty: it has none, and so is skipped
   std::string mountPoint;  // of a disk; empty: it is skipped
};

struct STORAGEDEVICES_API DiscoveryPreview {
   // The errors in the appliance's files, as `applianceErrors` answers them.
   std::vector<std::string> errors;
   bool blockdevReadable = false;
   std::size_t blockdevEntries = 0;
   bool udevAvailable = false;
   std::string udevError;  // why udev's devices cannot be listed, and the remedy
   std::vector<PreviewedDevice> devices;
};

// The errors in the appliance's files, one line each. A line names the file, the line number if known, and
// the remedy. A missing file is no error. Discovery itself uses the valid entries and traces the errors.
STORAGEDEVICES_API std::vector<std::string> applianceErrors(Pelm::String const & etcDir);

// Reads the appliance's files and classifies every block device once, by the rules of discovery. Runs no tool
// on a disk and changes nothing.
STORAGEDEVICES_API DiscoveryPreview previewDiscovery(Pelm::Ptr<FruConfig const> const & fruConfig);

}  // namespace StorageDevices
