// Identifies an eMMC device by its CID register, an attribute of the disk's parent device in sysfs. The
// collector has finished when its factory returns it.
#pragma once

#include "StorageDevices/DiskInfoCollectorSm.h"

struct udev_device;

namespace StorageDevices {

class EmmcDiskInfoCollectorSm final : public DiskInfoCollectorSm {
 public:
   // The udev device must exist until `handleInitialized` returns.
   EmmcDiskInfoCollectorSm(Pelm::Ptr<ConnectedDisk const> disk, udev_device * udevDisk);

   EntityMib::StorageType mibType() const override { return EntityMib::StorageType::eMmc; }
   // Invalid as soon as the creator releases the device.
   udev_device * udevDisk() const { return udevDisk_; }
   void handleInitialized();

 private:
   void parseCidRegister(char const * text);

   udev_device * udevDisk_;
};

Pelm::Ptr<DiskInfoCollectorSm> EmmcDiskInfoCollectorSmIs(Pelm::Ptr<ConnectedDisk const> const & disk,
                                                         udev_device * udevDevice);

}  // namespace StorageDevices
