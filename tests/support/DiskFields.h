// A disk record from its fields, each with a value of its own unless the test gives another.
#pragma once

#include <ostream>
#include <string>

#include "StorageDevices/ConnectedDevices.h"
#include "StorageDevices/ConnectedDisk.h"

namespace Support {

struct DiskFields {
   std::string name = "KS0001";
   unsigned char mibType = EntityMib::StorageType::unknown;
   std::string blockDevice = "/dev/sda";
   std::string mountPoint = "/mnt/drive";
   std::string model = "Kestrel_S2";
   std::string firmwareRevision = "KF1.2";
   bool removable = false;
   unsigned char busType = StorageDevices::ConnectedDisk::BusType::sata;
   std::string devAddress = "2";
   std::uint32_t sizeGb = 240;

   bool operator==(DiskFields const &) const = default;

   Pelm::Ptr<StorageDevices::ConnectedDisk const> make() const {
      return Pelm::make<StorageDevices::ConnectedDisk const>(
          Pelm::String{name}, mibType, Pelm::String{blockDevice}, Pelm::String{mountPoint},
          Pelm::String{model}, Pelm::String{firmwareRevision}, removable, busType, Pelm::String{devAddress},
          sizeGb);
   }
   void writeTo(StorageDevices::ConnectedDevices & devices) const {
      devices.diskIs(name, mibType, blockDevice, mountPoint, model, firmwareRevision, removable, busType,
                     devAddress, sizeGb);
   }
};

inline DiskFields fieldsOf(StorageDevices::ConnectedDisk const & disk) {
   return {disk.name().str(),        disk.mibType().value(),
           disk.blockDevice().str(), disk.mountPoint().str(),
           disk.model().str(),       disk.firmwareRevision().str(),
           disk.removable(),         disk.busType().value(),
           disk.devAddress().str(),  disk.sizeGb()};
}

// The message of a failed comparison.
inline std::ostream & operator<<(std::ostream & stream, DiskFields const & disk) {
   return stream << "{name \"" << disk.name << "\" mibType " << +disk.mibType << " blockDevice \""
                 << disk.blockDevice << "\" mountPoint \"" << disk.mountPoint << "\" model \"" << disk.model
                 << "\" firmware \"" << disk.firmwareRevision << "\" removable " << disk.removable << " bus "
                 << +disk.busType << " address \"" << disk.devAddress << "\" sizeGb " << disk.sizeGb << "}";
}

}  // namespace Support
