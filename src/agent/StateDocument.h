// The state document: what the monitors publish, as one JSON text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "agent/Readings.h"
#include "agent/ToolRuns.h"

namespace Agent {

// Failed samples of the I/O statistics since the start, by cause.
struct IoStatErrors {
   std::uint64_t openErrorCount = 0;
   std::uint64_t getlineErrorCount = 0;
   std::uint64_t regexErrorCount = 0;
};

struct StateSources {
   bool internalDevicesReady;
   double utc;
   Entities const & entities;
   IoStatErrors ioStatErrors;
   ToolRuns const & tools;
   Readings const & readings;
};

// `history`: how many measurements of each disk's use it holds, the newest ones.
std::string stateDocument(StateSources const & sources, std::size_t history = SIZE_MAX);

}  // namespace Agent
