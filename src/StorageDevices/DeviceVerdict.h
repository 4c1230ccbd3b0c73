// What a block device is to this unit: nothing, a removable disk, or one of its own and who identifies it.
#pragma once

#include "StorageDevices/ApplianceRules.h"
#include "StorageDevices/ConnectedDisk.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/model/FruConfig.h"

struct udev_device;

namespace StorageDevices {

struct DeviceVerdict {
   enum class Kind {
      inactive,   // a drive of the multidrive file that is not the source drive
      strange,    // no blockdev entry speaks of it
      removable,  // may come and go
      fixed,      // belongs to the unit
   };
   enum class Collector { none, ssd, eusb, nvme, emmc };

   Kind kind = Kind::strange;
   Pelm::Ptr<ConnectedDisk const> disk;  // as udev knows it; null when it is skipped
   Collector collector = Collector::none;
};

// Whether the device has what discovery needs of every device: udev serial, node and path.
bool isAddressable(udev_device * device);

// For a device that is addressable. Runs `expr` once per pattern tried.
DeviceVerdict judge(udev_device * device, ApplianceRules const & rules, FruConfig const & fruConfig);

}  // namespace StorageDevices
