// The state document: the records of all monitors as one JSON text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "StorageDevices/ConnectedDevicesSm.h"
#include "agent/documents/Document.h"
#include "agent/documents/MonitorDocument.h"
#include "agent/kernel/KernelLineCounts.h"
#include "agent/tools/Readings.h"
#include "agent/tools/ToolRuns.h"
#include "agent/verdict/Verdicts.h"

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

// The agent's configuration, and how it was read again.
struct ConfigurationReport {
   struct Reload {
      double utc = 0;    // seconds since 1970
      bool good = true;  // false: an error, and nothing has changed
      std::string text;  // as logged: what takes effect, or the error
   };

   std::string file;  // the path at which it is read, absolute
   std::uint64_t reloads = 0;
   std::optional<Reload> lastReload{};
};

struct StateSources {
   bool internalDevicesReady;
   Vorn::Seconds utc;  // now
   Entities const & entities;
   IoStatErrors ioStatErrors;
   ToolRuns const & tools;
   Readings const & readings;
   Verdicts const & verdicts;
   RecordKeepers keepers = {};
   std::optional<KernelLineCounts> kernelLines = {};  // nothing: the agent forwards none
   std::uint64_t logLinesDropped = 0;                 // that the log's destination did not take
   ConfigurationReport configuration = {};
};

// The number of measurements that it shows of each disk by default, the newest ones.
inline constexpr std::size_t usualHistory = 60;

// Written while it is read, record by record (see PiecedJson). The sources must outlive it.
std::unique_ptr<Document> stateDocument(StateSources const & sources, std::size_t history = usualHistory);

}  // namespace Agent
