#include "agent/verdict/MountedDisks.h"

namespace Agent {

void MountedDisks::update(StorageDevices::ConnectedDevices const & devices) {
   disks_.clear();
   for (auto const & [serial, disk] : devices.disk)
      disks_.try_emplace(disk->mountPoint(), serial);
}

Pelm::String MountedDisks::at(Pelm::String const & mountPoint) const {
   auto const found = disks_.find(mountPoint);
   return found == disks_.end() ? Pelm::String{} : found->second;
}

}  // namespace Agent
