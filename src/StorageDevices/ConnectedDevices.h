// The connected storage devices. Written by discovery alone, whose mutators these are; in a test, or in a
// host without discovery, by the host. The host makes one and passes it to every factory.
#pragma once

#include <cstdint>
#include <utility>

#include "StorageDevices/ConnectedDisk.h"
#include "StorageDevices/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Collection.h"

namespace StorageDevices {

// A record is immutable: whoever keeps a pointer keeps the values of that moment, and learns of a change from
// the notification of `disk` alone.
class STORAGEDEVICES_API ConnectedDevices : public Pelm::Node {
 public:
   // By name, which is the serial number as soon as the device is identified. A fixed disk that a collector
   // identifies is added only then, any other at once, under its serial from udev.
   Vorn::Collection<Pelm::String, Pelm::Ptr<ConnectedDisk>, ConnectedDevices> disk{*this, "disk"};

   // Replaces the record of that name unless all ten fields are equal.
   void diskIs(Pelm::String const & name, EntityMib::StorageType mibType, Pelm::String const & blockDevice,
               Pelm::String const & mountPoint, Pelm::String const & model,
               Pelm::String const & firmwareRevision, bool removable, ConnectedDisk::BusType busType,
               Pelm::String const & devAddress, std::uint32_t sizeGb) {
      auto record = Pelm::make<ConnectedDisk>(name, mibType, blockDevice, mountPoint, model, firmwareRevision,
                                              removable, busType, devAddress, sizeGb);
      Pelm::Ptr<ConnectedDisk> const stored = disk(name);
      if (!stored || !stored->isEq(*record))
         disk.memberIs(name, std::move(record));
   }
   // The disk was removed, or is known by another name now. Nothing without such a record.
   void diskDel(Pelm::String const & name) { disk.memberDel(name); }
   void diskDelAll() { disk.memberDelAll(); }

   // From udev's serial of a device to its current name. A removal event carries only udev's serial. Written
   // before the disk is added, deleted before it is deleted.
   Vorn::Collection<Pelm::String, Pelm::String, ConnectedDevices> udevSerialToSerialMap{
       *this, "udevSerialToSerialMap"};
   void udevSerialToSerialMapIs(Pelm::String const & udevSerial, Pelm::String const & serial) {
      udevSerialToSerialMap.memberIs(udevSerial, serial);
   }
   void udevSerialToSerialMapDel(Pelm::String const & udevSerial) {
      udevSerialToSerialMap.memberDel(udevSerial);
   }
   void udevSerialToSerialMapDelAll() { udevSerialToSerialMap.memberDelAll(); }

   // The name of the disk with that mount point, for example /mnt/drive; of several, the one added first.
   // Empty when there is none. Nothing asks whether it is mounted.
   Pelm::String getDiskMountedAt(Pelm::String const & mountPoint) const {
      for (auto const & [name, record] : disk)
         if (record->mountPoint() == mountPoint)
            return name;
      return {};
   }
};

}  // namespace StorageDevices
