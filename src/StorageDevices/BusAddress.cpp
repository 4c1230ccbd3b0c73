#include "StorageDevices/BusAddress.h"

#include "StorageDevices/CDevsUtil.h"
#include "StorageDevices/Udev.h"

namespace StorageDevices {

BusAddress busAddress(udev_device * device) {
   using BusType = ConnectedDisk::BusType;
   if (udevProperty(device, "ID_BUS") == "ata") {
      auto const id = CDevsUtil::getAtaScsiId(device);
      return id ? BusAddress{BusType::sata, *id} : BusAddress{};
   }
   if (auto const port = CDevsUtil::getUsbInterface(device))
      return {BusType::usb, *port};
   if (auto const name = CDevsUtil::getNvme(device))
      return {BusType::nvme, *name};
   return {};
}

}  // namespace StorageDevices
