// Completes an embedded USB flash disk: its model stands in the link that udev makes for it under
// /dev/disk/by-id. It is done before it is handed out.
#pragma once

#include "StorageDevices/DiskInfoCollectorSm.h"

struct udev_device;

namespace StorageDevices {

class EusbDiskInfoCollectorSm final : public DiskInfoCollectorSm {
 public:
   // The udev device must live until the collector is handed out.
   EusbDiskInfoCollectorSm(Pelm::Ptr<ConnectedDisk const> disk, udev_device * udevDisk);

   EntityMib::StorageType mibType() const override { return EntityMib::StorageType::eUsb; }
   // Dangles when the collector has been handed out and its maker lets go of the device.
   udev_device * udevDisk() const { return udevDisk_; }
   void handleInitialized();

 private:
   udev_device * udevDisk_;
};

Pelm::Ptr<DiskInfoCollectorSm> EusbDiskInfoCollectorSmIs(Pelm::Ptr<ConnectedDisk const> const & disk,
                                                         udev_device * udevDevice);

}  // namespace StorageDevices
