// What the reactor thread is doing, for a host that watches over it. Any thread may ask at any time, also
// while the reactor thread is held.
#pragma once

#include "runtime/Export.h"
#include "runtime/Vorn/Activity.h"

namespace Host {

using Activity = Vorn::Activity;

// One moment's, all members together.
RUNTIME_API Activity activity();

}  // namespace Host
