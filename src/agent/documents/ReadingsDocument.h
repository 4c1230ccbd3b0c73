// How the reading of the disks goes, as JSON: the runs of the tools, and which readings fail.
#pragma once

#include "StorageDevices/ConnectedDevices.h"
#include "agent/documents/PiecedJson.h"
#include "agent/tools/Readings.h"
#include "agent/tools/ToolRuns.h"

namespace Agent {

// Both must outlive what is made here.
JsonValue toolsJson(ToolRuns const & tools);
// An array of readings per disk.
JsonValue readingsJson(StorageDevices::ConnectedDevices const & devices, Readings const & readings);

}  // namespace Agent
