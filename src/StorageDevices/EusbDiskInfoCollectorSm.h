// Identifies an embedded USB flash disk: its model is part of udev's link under /dev/disk/by-id. The
// collector has finished when its factory returns it.
#pragma once

#include "StorageDevices/DiskInfoCollectorSm.h"

struct udev_device;

namespace StorageDevices {

class EusbDiskInfoCollectorSm final : public DiskInfoCollectorSm {
 public:
   // The udev device must exist until `handleInitialized` returns.
   EusbDiskInfoCollectorSm(Pelm::Ptr<ConnectedDisk const> disk, udev_device * udevDisk);

   EntityMib::StorageType mibType() const override { return EntityMib::StorageType::eUsb; }
   // Invalid as soon as the creator releases the device.
   udev_device * udevDisk() const { return udevDisk_; }
   void handleInitialized();

 private:
   udev_device * udevDisk_;
};

Pelm::Ptr<DiskInfoCollectorSm> EusbDiskInfoCollectorSmIs(Pelm::Ptr<ConnectedDisk const> const & disk,
                                                         udev_device * udevDevice);

}  // namespace StorageDevices
