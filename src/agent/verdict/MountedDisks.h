// The disks by their mount points, so that thousands of them are looked up in one walk.
#pragma once

#include <unordered_map>

#include "StorageDevices/ConnectedDevices.h"

namespace Agent {

class MountedDisks {
 public:
   // Takes the disks of now.
   void update(StorageDevices::ConnectedDevices const & devices);

   // The serial number of the disk with that mount point, as of the latest update; of several disks the one
   // added first. Empty when there is none.
   Pelm::String at(Pelm::String const & mountPoint) const;

 private:
   std::unordered_map<Pelm::String, Pelm::String> disks_;
};

}  // namespace Agent
