// The disks that discovery has recorded in ConnectedDevices, by udev's serial.
#pragma once

#include <functional>
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
   // another name, the record of that name stays: its deletion would report a removal that did not happen.
   void insert(Pelm::String const & udevSerial, Pelm::Ptr<ConnectedDisk const> const & disk);
   // Deletes the current record of the serial.
   void remove(Pelm::String const & udevSerial);
   // Deletes the current record of every serial that is gone.
   void removeGone(std::function<bool(Pelm::String const & udevSerial)> const & isGone);

 private:
   Pelm::Ptr<ConnectedDevices> devices_;
};

}  // namespace StorageDevices
