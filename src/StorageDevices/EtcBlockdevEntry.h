// An entry of /etc/blockdev: the pattern of a device's path, and the device's mount name. Both may be any
// bytes without a blank; nothing here checks them (`applianceErrors` does). Order matters: of several entries
// that match a device the first one counts.
#pragma once

#include <tuple>
#include <utility>

#include "StorageDevices/Export.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/ValueRecord.h"

namespace StorageDevices {

class STORAGEDEVICES_API EtcBlockdevEntry : public Vorn::ValueRecord<EtcBlockdevEntry> {
 public:
   EtcBlockdevEntry() = default;
   EtcBlockdevEntry(Pelm::String sysPathRe, Pelm::String mount)
       : sysPathRe_{std::move(sysPathRe)}, mount_{std::move(mount)} {}

   // Pattern matched against a device's path below /sys/devices, from the path's beginning. The language is
   // that of `expr`: a basic regular expression.
   Pelm::String const & sysPathRe() const { return sysPathRe_; }
   void sysPathReIs(Pelm::String value) { sysPathRe_ = std::move(value); }
   // Mount name; the mount point is "/mnt/" and this.
   Pelm::String const & mount() const { return mount_; }
   void mountIs(Pelm::String value) { mount_ = std::move(value); }

   static constexpr char const * recordName = "EtcBlockdevEntry";
   static constexpr auto recordFields() {
      return std::tuple{
          Vorn::recordField("sysPathRe", &EtcBlockdevEntry::sysPathRe, &EtcBlockdevEntry::sysPathReIs),
          Vorn::recordField("mount", &EtcBlockdevEntry::mount, &EtcBlockdevEntry::mountIs)};
   }

 private:
   Pelm::String sysPathRe_;
   Pelm::String mount_;
};

}  // namespace StorageDevices
