// What a host does with traces: where lines go, and which are written.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/Export.h"
#include "runtime/Vorn/TraceLine.h"

namespace Host {

using TraceLine = Vorn::TraceLine;
using TraceSink = std::function<void(TraceLine const &)>;

// Null: lines are dropped, as they are until the host sets a sink.
RUNTIME_API void traceSinkIs(TraceSink sink);

// The highest level written of a facility, -1 for none. It holds also for a facility that a library
// loaded later brings.
RUNTIME_API void traceLevelIs(std::string_view facility, int level);

// The facilities present, by name.
RUNTIME_API std::vector<std::string> traceFacilities();

}  // namespace Host
