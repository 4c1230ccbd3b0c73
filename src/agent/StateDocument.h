// The state document: what the monitors publish, as one JSON text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "StorageDevices/ConnectedDevicesSm.h"
#include "agent/CountersDocument.h"
#include "agent/MonitorDocument.h"
#include "agent/Readings.h"
#include "agent/ToolRuns.h"

namespace Agent {

// Failed samples of the I/O statistics since the start, by cause.
struct IoStatErrors {
   std::uint64_t openErrorCount = 0;
   std::uint64_t getlineErrorCount = 0;
   std::uint64_t regexErrorCount = 0;
};

// Monitors that keep records of their own; null while they do not run.
struct RecordKeepers {
   StorageDevices::DeviceLifetimeMonitorSm const * lifetime = nullptr;
   StorageDevices::TempSensorSm const * temperature = nullptr;
   StorageDevices::MountPtMonitorManagerSm const * mountPoints = nullptr;
   StorageDevices::ConnectedDevicesSm const * discovery = nullptr;
};

struct StateSources {
   bool internalDevicesReady;
   double utc;
   Entities const & entities;
   IoStatErrors ioStatErrors;
   ToolRuns const & tools;
   Readings const & readings;
   RecordKeepers keepers = {};
   Counters counters = {};
};

// `history`: how many measurements of each disk's use it holds, the newest ones.
std::string stateDocument(StateSources const & sources, std::size_t history = SIZE_MAX);

}  // namespace Agent
