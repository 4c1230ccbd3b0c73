// How log messages name a disk.
#pragma once

#include "StorageDevices/ConnectedDevices.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"

namespace StorageDevices {

// The arguments of a message in the order of its text; all are empty for a disk that is not connected.
struct LoggedDisk {
   LoggedDisk() = default;
   explicit LoggedDisk(Pelm::Ptr<ConnectedDisk const> const & disk) {
      if (disk)
         *this = LoggedDisk{*disk};
   }
   // The disk that is mounted there.
   LoggedDisk(ConnectedDevices const & devices, Pelm::String const & mountPoint)
       : LoggedDisk{Pelm::Ptr<ConnectedDisk const>{devices.disk(devices.getDiskMountedAt(mountPoint))}} {}

   Pelm::String name;  // its mount point
   Pelm::String serial;
   Pelm::String model;
   Pelm::String firmware;

 private:
   explicit LoggedDisk(ConnectedDisk const & disk)
       : name{disk.mountPoint()},
         serial{disk.name()},
         model{disk.model()},
         firmware{disk.firmwareRevision()} {}
};

}  // namespace StorageDevices
