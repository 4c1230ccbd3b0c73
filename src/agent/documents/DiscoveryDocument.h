// What discovery says of itself, as a JSON object: which devices it could not classify, and how often a disk
// was removed without its serial.
#pragma once

#include "StorageDevices/ConnectedDevicesSm.h"
#include "agent/documents/PiecedJson.h"

namespace Agent {

// Without discovery (null) nothing is unclassified.
JsonValue discoveryJson(StorageDevices::ConnectedDevicesSm const * discovery);

}  // namespace Agent
