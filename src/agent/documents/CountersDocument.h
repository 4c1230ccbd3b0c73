// What the agent counts of its own work, for the state document.
#pragma once

#include <cstdint>
#include <optional>

#include "agent/documents/PiecedJson.h"

namespace Agent {

// Of the lines of the kernel's log, since the agent's start.
struct KernelLineCounts {
   std::uint64_t received = 0;   // the kernel's own, whatever became of them
   std::uint64_t forwarded = 0;  // sent to the socket on which they are read
   std::uint64_t rewritten = 0;  // of these, in other words than the kernel's
   std::uint64_t dropped =
       0;  // nobody was there to receive them, or they were lost before they could be read
   std::uint64_t overruns = 0;  // times that the kernel overwrote what was not read yet
};

struct Counters {
   std::optional<KernelLineCounts> kernelLines;  // nothing: the agent forwards none
   std::uint64_t logLinesDropped = 0;            // that standard error did not take
};

// Adds "kernelLines", empty when none are forwarded, and "log".
void addCounters(JsonMembers & members, Counters const & counters);

}  // namespace Agent
