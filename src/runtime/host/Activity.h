// The reactor thread's activity, for a host's watchdog. Any thread may read it at any time, also during a
// stall.
#pragma once

#include "runtime/Export.h"
#include "runtime/Vorn/Activity.h"

namespace Vorn::Host {

using Activity = Vorn::Activity;

// A consistent snapshot.
VORN_API Activity activity();

}  // namespace Vorn::Host
