// The records of discovery and of the monitors of wear, temperature, mount points and kernel errors as JSON
// objects. A monitor that does not run (null) has an empty object; an unknown value is left out.
#pragma once

#include "StorageDevices/ConnectedDevicesSm.h"
#include "StorageDevices/DeviceLifetimeMonitorSm.h"
#include "StorageDevices/MountPtMonitorManagerSm.h"
#include "StorageDevices/TempSensorSm.h"
#include "agent/Entities.h"
#include "agent/documents/PiecedJson.h"

namespace Agent {

// The devices that it could not classify, and how often a disk was removed without its serial.
JsonValue discoveryJson(StorageDevices::ConnectedDevicesSm const * discovery);
// By serial number.
JsonValue lifetimeChangesJson(StorageDevices::DeviceLifetimeMonitorSm const * monitor);
JsonValue storageDevicesInfoJson(StorageDevicesInfo const & info);
// By sensor. A sensor whose drive has no record now shows no temperature and no alarm.
JsonValue temperatureJson(Entities const & entities, StorageDevices::TempSensorSm const * monitor);
// By mount point.
JsonValue mountPointsJson(StorageDevices::MountPtMonitorManagerSm const * manager);

}  // namespace Agent
