// An entry of /etc/blockdev: which device it speaks of, and where that is mounted.
#pragma once

#include <tuple>
#include <utility>

#include "StorageDevices/Export.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/ValueRecord.h"

namespace StorageDevices {

struct STORAGEDEVICES_API EtcBlockdevEntry : public Vorn::ValueRecord<EtcBlockdevEntry> {
   EtcBlockdevEntry() = default;
   EtcBlockdevEntry(Pelm::String pattern, Pelm::String mountName)
       : sysPathRe{std::move(pattern)}, mount{std::move(mountName)} {}

   Pelm::String sysPathRe;  // pattern matched against a device's path below /sys/devices
   Pelm::String mount;      // mount name; the mount point is "/mnt/" and this

   static constexpr char const * recordName = "EtcBlockdevEntry";
   static constexpr auto recordFields() {
      return std::tuple{Vorn::recordField("sysPathRe", &EtcBlockdevEntry::sysPathRe),
                        Vorn::recordField("mount", &EtcBlockdevEntry::mount)};
   }
};

}  // namespace StorageDevices
