// The trace facility of the file system health test and its system calls.
#pragma once

#include "runtime/Vorn/Trace.h"

namespace StorageDevices {

extern Vorn::TraceHandle fsHealthTraceHandle;

}  // namespace StorageDevices
