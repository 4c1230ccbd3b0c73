// The state of discovery as a JSON object: the devices that it could not classify, and the number of removals
// without a serial.
#pragma once

#include "StorageDevices/ConnectedDevicesSm.h"
#include "agent/documents/PiecedJson.h"

namespace Agent {

// Without discovery (null) nothing is unclassified.
JsonValue discoveryJson(StorageDevices::ConnectedDevicesSm const * discovery);

}  // namespace Agent
