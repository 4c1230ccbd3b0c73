// How the reading of the disks goes, as JSON: the runs of the tools, and which readings fail.
#pragma once

#include "StorageDevices/ConnectedDevices.h"
#include "agent/JsonText.h"
#include "agent/Readings.h"
#include "agent/ToolRuns.h"

namespace Agent {

void writeTools(JsonWriter & writer, ToolRuns const & tools);
// An array of readings per disk.
void writeReadings(JsonWriter & writer, StorageDevices::ConnectedDevices const & devices,
                   Readings const & readings);

}  // namespace Agent
