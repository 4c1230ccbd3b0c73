// The agent's counters of its own work, for the state document.
#pragma once

#include <cstdint>
#include <optional>

#include "agent/documents/PiecedJson.h"
#include "agent/kernel/KernelLineCounts.h"

namespace Agent {

struct Counters {
   std::optional<KernelLineCounts> kernelLines;  // empty: the agent forwards none
   std::uint64_t logLinesDropped = 0;            // that standard error did not accept
};

// Adds "kernelLines", empty when none are forwarded, and "log".
void addCounters(JsonMembers & members, Counters const & counters);

}  // namespace Agent
