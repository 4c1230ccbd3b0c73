// An entry of /etc/blockdev: which device it speaks of, and where that is mounted.
#pragma once

#include "runtime/Pelm/String.h"

namespace StorageDevices {

struct EtcBlockdevEntry {
   Pelm::String sysPathRe;  // pattern matched against a device's path below /sys/devices
   Pelm::String mount;      // mount name; the mount point is "/mnt/" and this

   bool operator==(EtcBlockdevEntry const &) const = default;
};

}  // namespace StorageDevices
