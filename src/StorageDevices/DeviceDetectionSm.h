// Checks the disks that the unit should have. At the start it logs, once, each that is missing or not mounted
// as expected. Later it logs the removal of each fixed disk.
//
// Inputs: the expected mounts, the connected disks, and each disk's mount-source file, which names the device
// mounted at its mount point. The host creates the machine when `internalDevicesReady` is true: before that,
// disks would be reported missing that only wait to be identified. A disk that comes later is not checked.
#pragma once

#include "StorageDevices/ConnectedDevices.h"
#include "StorageDevices/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/Notifiee.h"
#include "runtime/model/FruConfig.h"

namespace StorageDevices {

class STORAGEDEVICES_API DeviceDetectionSm final : public Pelm::Node {
 public:
   DeviceDetectionSm(Pelm::Ptr<FruConfig const> fruConfig, Pelm::Ptr<ConnectedDevices const> devices);

   // The factory's argument.
   Pelm::Ptr<FruConfig const> const & fruConfig() const { return fruConfig_; }
   Pelm::Ptr<ConnectedDevices const> const & devices() const { return devices_; }

   // The checks of the start.
   void handleInitialized();
   // Logs the removal of a fixed disk: a change that has the former record and no new one. Without a change
   // there is nothing to log.
   void handleDisk(Pelm::String const & serial, Vorn::Change<Pelm::Ptr<ConnectedDisk>> const & change = {});

 private:
   void checkExpectedMounts() const;
   void checkMountSource(ConnectedDisk const & disk) const;

   Pelm::Ptr<FruConfig const> fruConfig_;
   Pelm::Ptr<ConnectedDevices const> devices_;
   Vorn::NotifieeConst devicesReactor_;
};

}  // namespace StorageDevices
