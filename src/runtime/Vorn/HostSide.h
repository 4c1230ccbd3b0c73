// What the framework needs of its host's side, which runtime/host defines: the framework includes nothing of
// it.
#pragma once

#include "runtime/Vorn/Seconds.h"

namespace Vorn {

class TraceHandle;
struct LogMessage;
struct TraceLine;

namespace HostSide {

// The host says which levels of a facility are written.
void facilityAdd(TraceHandle & handle, int defaultLevel);
void facilityRemove(TraceHandle & handle);

// To the host's sinks; dropped when there is none.
void emit(TraceLine const & line);
void emit(LogMessage const & message);

// A span of real time in framework time.
Seconds spanOf(Seconds real);

}  // namespace HostSide

}  // namespace Vorn
