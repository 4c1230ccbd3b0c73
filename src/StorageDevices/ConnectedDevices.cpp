#include "StorageDevices/ConnectedDevices.h"

#include <utility>

namespace StorageDevices {

void ConnectedDevices::diskIs(Pelm::String const & name, EntityMib::StorageType mibType,
                              Pelm::String const & blockDevice, Pelm::String const & mountPoint,
                              Pelm::String const & model, Pelm::String const & firmwareRevision,
                              bool removable, ConnectedDisk::BusType busType, Pelm::String const & devAddress,
                              std::uint32_t sizeGb) {
   auto record = Pelm::make<ConnectedDisk const>(name, mibType, blockDevice, mountPoint, model,
                                                 firmwareRevision, removable, busType, devAddress, sizeGb);
   Pelm::Ptr<ConnectedDisk const> const stored = disk(name);
   if (!stored || !stored->isEq(*record))
      disk.memberIs(name, std::move(record));
}
void ConnectedDevices::diskDel(Pelm::String const & name) {
   disk.memberDel(name);
}
void ConnectedDevices::diskDelAll() {
   disk.memberDelAll();
}

void ConnectedDevices::udevSerialToSerialMapIs(Pelm::String const & udevSerial, Pelm::String const & serial) {
   udevSerialToSerialMap.memberIs(udevSerial, serial);
}
void ConnectedDevices::udevSerialToSerialMapDel(Pelm::String const & udevSerial) {
   udevSerialToSerialMap.memberDel(udevSerial);
}
void ConnectedDevices::udevSerialToSerialMapDelAll() {
   udevSerialToSerialMap.memberDelAll();
}

}  // namespace StorageDevices
