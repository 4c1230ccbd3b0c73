// How a device is attached, and where.
#pragma once

#include "StorageDevices/ConnectedDisk.h"
#include "runtime/Pelm/String.h"

struct udev_device;

namespace StorageDevices {

struct BusAddress {
   ConnectedDisk::BusType busType = ConnectedDisk::BusType::other;
   Pelm::String devAddress;
};

// SATA when udev's ID_BUS is "ata" and the device has a SCSI host id; without "ata", USB below a USB
// interface, else NVMe by its name. Otherwise other, without an address.
BusAddress busAddress(udev_device * device);

}  // namespace StorageDevices
