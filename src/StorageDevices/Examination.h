// What discovery would make of the devices of this machine, for a host that explains a configuration.
#pragma once

#include <string>
#include <vector>

#include "StorageDevices/Export.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/model/FruConfig.h"

namespace StorageDevices {

struct STORAGEDEVICES_API ExaminedDevice {
   std::string device;   // node, or the kernel's name where it has none
   std::string sysPath;  // below /sys/devices, what the patterns of blockdev are matched against
   std::string verdict;  // "skipped", "removable" or "fixed"
   std::string reason;   // why it is skipped, or where it is mounted, how attached and who identifies it
};

struct STORAGEDEVICES_API Examination {
   // What is wrong with the appliance's files: a line each, that names the file and says what to do.
   std::vector<std::string> errors;
   bool blockdevReadable = false;
   std::size_t blockdevEntries = 0;
   bool udevAvailable = false;
   std::string udevError;  // why udev's devices cannot be listed, and what to do
   std::vector<ExaminedDevice> devices;
};

// What is wrong with the appliance's files: a line per error that names the file, the line in it where that
// is known, and what to do. A file that is not there is none. Discovery itself takes what it can read and
// traces the rest.
STORAGEDEVICES_API std::vector<std::string> applianceErrors(Pelm::String const & etcDir);

// Reads the appliance's files and looks at every block device once, by the rules of discovery. Runs no
// tool on any disk and changes nothing. Exported for hosts, since only the library knows its rules.
STORAGEDEVICES_API Examination examineDevices(Pelm::Ptr<FruConfig const> const & fruConfig);

}  // namespace StorageDevices
