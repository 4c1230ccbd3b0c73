// Identifies an eMMC chip by its CID register, which the kernel shows at the disk's parent device.
// It is done before it is handed out.
#pragma once

#include "StorageDevices/DiskInfoCollectorSm.h"

struct udev_device;

namespace StorageDevices {

class EmmcDiskInfoCollectorSm final : public DiskInfoCollectorSm {
 public:
   // The udev device must live until the collector is handed out.
   EmmcDiskInfoCollectorSm(Pelm::Ptr<ConnectedDisk const> disk, udev_device * udevDisk);

   EntityMib::StorageType mibType() const override { return EntityMib::StorageType::eMmc; }
   // Dangles when the collector has been handed out and its maker lets go of the device.
   udev_device * udevDisk() const { return udevDisk_; }
   void handleInitialized();

 private:
   void parseCidRegister(char const * text);

   udev_device * udevDisk_;
};

Pelm::Ptr<DiskInfoCollectorSm> EmmcDiskInfoCollectorSmIs(Pelm::Ptr<ConnectedDisk const> const & disk,
                                                         udev_device * udevDevice);

}  // namespace StorageDevices
