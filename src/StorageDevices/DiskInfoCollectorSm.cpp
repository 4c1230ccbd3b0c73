#include "StorageDevices/DiskInfoCollectorSm.h"

#include <utility>

namespace StorageDevices {

Vorn::TraceHandle DiskInfoCollectorSm::collectorTrace{"StorageDiskInfoCollectorSm", true};

DiskInfoCollectorSm::DiskInfoCollectorSm(Pelm::Ptr<ConnectedDisk const> device)
    : device_{std::move(device)} {}

Pelm::Ptr<ConnectedDisk const> DiskInfoCollectorSm::finalDiskIs(
    Pelm::String const & name, EntityMib::StorageType mibDeviceType, Pelm::String const & blockDevice,
    Pelm::String const & mountPoint, Pelm::String const & model, Pelm::String const & firmwareRevision,
    bool removable, ConnectedDisk::BusType busType, Pelm::String const & devAddress, std::uint32_t sizeGb) {
   auto record = Pelm::make<ConnectedDisk const>(name, mibDeviceType, blockDevice, mountPoint, model,
                                                 firmwareRevision, removable, busType, devAddress, sizeGb);
   if (finalDisk() && finalDisk()->isEq(*record))
      return finalDisk();
   finalDisk.valueIs(record);
   // A subscriber may have deleted the result or dropped the collector.
   return record;
}

Pelm::Ptr<ConnectedDisk const> DiskInfoCollectorSm::finalDiskDel() {
   Pelm::Ptr<ConnectedDisk const> old = finalDisk();
   finalDisk.valueIs(nullptr);
   return old;
}

void DiskInfoCollectorSm::finalize(Pelm::String const & serial, Pelm::String const & model,
                                   Pelm::String const & firmwareRevision, std::uint32_t sizeGb) {
   ConnectedDisk const & disk = *device_;
   finalDiskIs(serial, mibType(), disk.blockDevice(), disk.mountPoint(), model, firmwareRevision,
               disk.removable(), disk.busType(), disk.devAddress(), sizeGb);
}

void DiskInfoCollectorSm::finalizeUnchanged() {
   finalize(device_->name(), device_->model(), device_->firmwareRevision(), device_->sizeGb());
}

}  // namespace StorageDevices
