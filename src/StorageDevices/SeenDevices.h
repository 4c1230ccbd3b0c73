// What discovery made of every device it has seen, so that a rescan knows which are new, changed or gone.
//
// Keyed by the device's folder in sysfs. That folder goes with the device; udev's record of it may linger.
#pragma once

#include <optional>
#include <unordered_map>
#include <utility>

#include "StorageDevices/DeviceVerdict.h"
#include "runtime/Pelm/String.h"

namespace StorageDevices {

// One look at all devices.
struct Scan {
   // The serial under which udev knows each device that could be read, by its folder; empty where it has
   // none.
   std::unordered_map<Pelm::String, Pelm::String> serials;
   bool complete = true;  // false: a device could not be read for want of means
};

class SeenDevices {
 public:
   struct Seen {
      Pelm::String udevSerial;
      Pelm::String mount;                    // mount name of the blockdev entry that speaks of it
      std::optional<DeviceVerdict> verdict;  // nothing for a device that is skipped
   };

   // Null for a device that is new.
   Seen const * seen(Pelm::String const & sysPath) const;
   // The folder of a device of that serial that is not skipped; empty without one.
   Pelm::String pathOf(Pelm::String const & udevSerial) const;
   void seenIs(Pelm::String const & sysPath, Seen seen) { seen_.insert_or_assign(sysPath, std::move(seen)); }
   // Forgets all devices of that serial.
   void serialDel(Pelm::String const & udevSerial);
   void delAll() { seen_.clear(); }

   // Forgets the devices whose folder is gone, and those that share a serial with one of them: the record
   // that stands for both is out of date.
   void goneDel();

   // Whether no device of that serial is left. One whose folder is there still, while udev does not know its
   // serial, is left.
   bool isGone(Pelm::String const & udevSerial, Scan const & scan) const;

 private:
   std::unordered_map<Pelm::String, Seen> seen_;
};

// Whether the folder of a device is there. Takes no descriptor.
bool isInSysfs(Pelm::String const & sysPath);

}  // namespace StorageDevices
