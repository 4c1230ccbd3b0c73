// The immutable record of one storage device. A change of any field replaces the record.
#pragma once

#include <cstdint>
#include <utility>

#include "StorageDevices/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/EnumType.h"
#include "runtime/model/EntityMib.h"

namespace StorageDevices {

class STORAGEDEVICES_API ConnectedDisk : public Pelm::Node {
 public:
   // How the device is attached. usb: below a USB interface, card readers included. sata: an ATA port, with a
   // known SCSI host. nvme: a namespace of an NVMe controller. other: all else. The numbers are part of the
   // served state.
   class BusType : public Vorn::EnumType<unsigned char, BusType> {
    public:
      enum Value : unsigned char { usb = 0, sata = 1, nvme = 2, other = 3 };
      static constexpr Vorn::EnumName<unsigned char> names[] = {
          {usb, "usb"}, {sata, "sata"}, {nvme, "nvme"}, {other, "other"}};
      using EnumType::EnumType;
   };

   // The ten fields, in this order. Any bytes are accepted: nothing is checked here.
   ConnectedDisk(Pelm::String name, EntityMib::StorageType mibType, Pelm::String blockDevice,
                 Pelm::String mountPoint, Pelm::String model, Pelm::String firmwareRevision, bool removable,
                 BusType busType, Pelm::String devAddress, std::uint32_t sizeGb)
       : name_{std::move(name)},
         mibType_{mibType},
         blockDevice_{std::move(blockDevice)},
         mountPoint_{std::move(mountPoint)},
         model_{std::move(model)},
         firmwareRevision_{std::move(firmwareRevision)},
         removable_{removable},
         busType_{busType},
         devAddress_{std::move(devAddress)},
         sizeGb_{sizeGb} {}

   // The key of the record: the serial from udev, then the one that a collector read from the device.
   Pelm::String const & name() const { return name_; }
   // The type under which the entity MIB lists the device; `unknown` for a removable one, and
   // for one of no known kind.
   EntityMib::StorageType mibType() const { return mibType_; }
   // The device node of the whole disk, for example /dev/sda; never a partition.
   Pelm::String const & blockDevice() const { return blockDevice_; }
   // "/mnt/" and the mount name of the device's blockdev entry. Where it should be mounted: whether it is,
   // this record does not say.
   Pelm::String const & mountPoint() const { return mountPoint_; }
   // From the device's collector; of a removable disk from udev. May be empty, and may hold any bytes.
   Pelm::String const & model() const { return model_; }
   Pelm::String const & firmwareRevision() const { return firmwareRevision_; }
   // Whether the device is not part of the unit's fixed storage, by its mount name
   // (`FruConfig::expectedMounts`). The kernel's own flag does not matter.
   bool removable() const { return removable_; }
   // `other` for eMMC devices and cards, which have no bus address.
   BusType busType() const { return busType_; }
   // SATA: the SCSI host's id; USB: the port; NVMe: the namespace's name; otherwise empty.
   Pelm::String const & devAddress() const { return devAddress_; }
   // Gigabytes of 10^9 bytes, rounded; 0: the size is not known, or below half a gigabyte.
   std::uint32_t sizeGb() const { return sizeGb_; }

   // The block device without its directory, for example sda.
   Pelm::String blockDeviceName() const {
      std::string_view const path = blockDevice_.view();
      return path.substr(path.rfind('/') + 1);
   }

   // The port's name in the kernel's messages: "usb 2-1", "ata2", "mmc0", "nvme0n1"; empty when they name
   // none.
   Pelm::String deviceIntfAndAddress() const;

   // Whether all ten fields are equal: then the stored record stays, and nobody is notified.
   bool isEq(ConnectedDisk const & other) const {
      return isEqButTexts(other) && model_ == other.model_ && firmwareRevision_ == other.firmwareRevision_;
   }

   // Whether all fields but model and firmware revision are equal.
   bool isEqButTexts(ConnectedDisk const & other) const {
      return name_ == other.name_ && mibType_ == other.mibType_ && blockDevice_ == other.blockDevice_ &&
             mountPoint_ == other.mountPoint_ && removable_ == other.removable_ &&
             busType_ == other.busType_ && devAddress_ == other.devAddress_ && sizeGb_ == other.sizeGb_;
   }

 private:
   Pelm::String name_;
   EntityMib::StorageType mibType_;
   Pelm::String blockDevice_;
   Pelm::String mountPoint_;
   Pelm::String model_;
   Pelm::String firmwareRevision_;
   bool removable_;
   BusType busType_;
   Pelm::String devAddress_;
   std::uint32_t sizeGb_;
};

inline Pelm::String ConnectedDisk::deviceIntfAndAddress() const {
   std::string const address = devAddress_.str();
   if (busType_ == BusType::nvme)
      return devAddress_;
   if (busType_ != BusType::other)
      return address.empty() ? "" : (busType_ == BusType::usb ? "usb " : "ata") + address;
   // An MMC device has no bus address; the number of its host follows "mmcblk" in its own name.
   constexpr std::string_view mmcPrefix = "mmcblk";
   std::string const kernelName = blockDeviceName().str();
   std::size_t const at = kernelName.find(mmcPrefix);
   if (at == std::string::npos)
      return {};
   std::size_t const first = at + mmcPrefix.size();
   std::size_t const last = kernelName.find_first_not_of("0123456789", first);
   std::string const number = kernelName.substr(first, last == std::string::npos ? last : last - first);
   return number.empty() ? "" : "mmc" + number;
}

}  // namespace StorageDevices
