// What discovery has recorded in ConnectedDevices, by the serial under which udev knows a disk.
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

   // Writes the disk unless the one recorded for the serial differs in nothing but model and firmware
   // revision. When it was known by another name, the record of that name stays.
   void insert(Pelm::String const & udevSerial, Pelm::Ptr<ConnectedDisk const> const & disk);
   // Deletes what is recorded now.
   void remove(Pelm::String const & udevSerial);
   // Deletes what is recorded of every serial that is gone, under former names too.
   void removeGone(std::function<bool(Pelm::String const & udevSerial)> const & isGone);

 private:
   Pelm::Ptr<ConnectedDevices> devices_;
   // Names that disks had before they were identified otherwise, with their serials.
   std::unordered_map<Pelm::String, Pelm::String> formerNames_;
};

}  // namespace StorageDevices
