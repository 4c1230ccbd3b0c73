// Functions that the framework calls and runtime/host defines, so that the framework does not include
// runtime/host.
#pragma once

#include "runtime/Vorn/Seconds.h"

namespace Vorn {

class TraceHandle;
struct LogMessage;
struct TraceLine;

namespace HostSide {

// The host decides which levels of a facility are written.
void facilityAdd(TraceHandle & handle, int defaultLevel);
void facilityRemove(TraceHandle & handle);

// Pass to the host's sinks; dropped without one.
void emit(TraceLine const & line);
void emit(LogMessage const & message);

// The loop has something to do earlier than before.
void workChanged();

// A span of real time in framework time.
Seconds spanOf(Seconds real);

}  // namespace HostSide

}  // namespace Vorn
