// The bus and the bus address of a device.
#pragma once

#include "StorageDevices/ConnectedDisk.h"
#include "runtime/Pelm/String.h"

struct udev_device;

namespace StorageDevices {

struct BusAddress {
   ConnectedDisk::BusType busType = ConnectedDisk::BusType::other;
   Pelm::String devAddress;
};

// SATA: udev's ID_BUS is "ata" and the device has a SCSI host id. USB: ID_BUS differs and the device is below
// a USB interface. NVMe: neither, and the device's name is that of a namespace. Every other device has no
// address.
BusAddress busAddress(udev_device * device);

}  // namespace StorageDevices
