// The kernel's clocks, whatever the host's source of time.
#pragma once

#include <ctime>

#include "runtime/Vorn/Seconds.h"

namespace Vorn {

// What the clock shows, for instance since the boot with CLOCK_MONOTONIC. It never fails for a clock that the
// kernel has.
inline Seconds kernelTime(clockid_t clock) {
   timespec time{};
   clock_gettime(clock, &time);
   return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

}  // namespace Vorn
