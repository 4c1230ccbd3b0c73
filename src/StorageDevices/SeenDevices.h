// The classification of every device that discovery has seen. A rescan finds new, changed and gone devices by
// it.
//
// Keyed by the device's folder in sysfs. The folder disappears with the device; udev's record may stay.
#pragma once

#include <optional>
#include <unordered_map>
#include <utility>

#include "StorageDevices/DeviceClassification.h"
#include "runtime/Pelm/String.h"

namespace StorageDevices {

// The result of one enumeration of all devices.
struct Scan {
   // udev's serial of each device that could be read, by its folder; empty: it has none.
   std::unordered_map<Pelm::String, Pelm::String> serials;
   bool complete = true;  // false: a shortage kept a device from being read
};

class SeenDevices {
 public:
   struct Seen {
      Pelm::String udevSerial;
      Pelm::String mount;                                  // mount name of the matching blockdev entry
      std::optional<DeviceClassification> classification;  // nothing: the device is skipped
   };

   // Null for a new device.
   Seen const * seen(Pelm::String const & sysPath) const;
   // The folder of a device with that serial that is not skipped; empty without one.
   Pelm::String pathOf(Pelm::String const & udevSerial) const;
   // Whether a device with that serial and node is not skipped and still has its folder.
   bool isPresent(Pelm::String const & udevSerial, Pelm::String const & node) const;
   void seenIs(Pelm::String const & sysPath, Seen seen) { seen_.insert_or_assign(sysPath, std::move(seen)); }
   // Deletes all devices with that serial.
   void serialDel(Pelm::String const & udevSerial);
   void delAll() { seen_.clear(); }

   // Deletes the devices whose folder is gone, and those that share a serial with one of them: their common
   // disk record is out of date.
   void goneDel();

   // Whether no device with that serial is left. A device whose folder exists counts as left, even if udev
   // has lost its serial.
   bool isGone(Pelm::String const & udevSerial, Scan const & scan) const;

 private:
   std::unordered_map<Pelm::String, Seen> seen_;
};

// Whether the folder of a device exists. Needs no descriptor.
bool isInSysfs(Pelm::String const & sysPath);

}  // namespace StorageDevices
