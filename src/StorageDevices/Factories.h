// What the library exports: one factory per monitor. Each makes a machine, starts it and hands it out;
// the host keeps the pointer for as long as the monitor shall run. A machine that could not start is
// handed out all the same, idle, and the failure is traced.
#pragma once

#include "StorageDevices/ConnectedDevices.h"
#include "StorageDevices/Export.h"
#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/model/FruConfig.h"

namespace StorageDevices {

class ConnectedDevicesSm;

// Discovery: keeps `connectedDevices` equal to the disks of this unit. Call it first; every other
// monitor works from that set.
STORAGEDEVICES_API Pelm::Ptr<ConnectedDevicesSm> connectedDevicesSmFactory(
    Pelm::Ptr<FruConfig const> const & fruConfig, Pelm::Ptr<ConnectedDevices> const & connectedDevices,
    Pelm::Ptr<Brul::ChildProcessTrackerSm> const & childProcessTrackerSm);

}  // namespace StorageDevices
