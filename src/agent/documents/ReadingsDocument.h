// The runs of the tools, and the good and failing readings of each disk, as JSON.
#pragma once

#include "StorageDevices/ConnectedDevices.h"
#include "agent/documents/PiecedJson.h"
#include "agent/tools/Readings.h"
#include "agent/tools/ToolRuns.h"

namespace Agent {

// Both arguments must outlive the result.
JsonValue toolsJson(ToolRuns const & tools);
// An array of readings per disk.
JsonValue readingsJson(StorageDevices::ConnectedDevices const & devices, Readings const & readings);

}  // namespace Agent
