// The disks that discovery has recorded in ConnectedDevices, by udev's serial.
#pragma once

#include <functional>
#include <unordered_map>
#include <utility>

#include "StorageDevices/ConnectedDevices.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"

namespace StorageDevices {

class RecordedDisks {
 public:
   explicit RecordedDisks(Pelm::Ptr<ConnectedDevices> devices) : devices_{std::move(devices)} {}

   // Null when none is recorded under the serial.
   Pelm::Ptr<ConnectedDisk const> disk(Pelm::String const & udevSerial) const;

   // Records the disk, unless the recorded one differs at most in model and firmware revision. If it had
   // another name, the record of that name stays.
   void insert(Pelm::String const & udevSerial, Pelm::Ptr<ConnectedDisk const> const & disk);
   // Deletes the current record of the serial.
   void remove(Pelm::String const & udevSerial);
   // Deletes all records of every serial that is gone, those under former names too.
   void removeGone(std::function<bool(Pelm::String const & udevSerial)> const & isGone);

 private:
   Pelm::Ptr<ConnectedDevices> devices_;
   // Former names of disks that were identified by another name since, with udev's serials.
   std::unordered_map<Pelm::String, Pelm::String> formerNames_;
};

}  // namespace StorageDevices
