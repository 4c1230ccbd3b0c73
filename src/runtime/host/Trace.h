// The host's sink for traces, and the levels that are written.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/Export.h"
#include "runtime/Vorn/TraceLine.h"

namespace Vorn::Host {

using TraceLine = Vorn::TraceLine;
using TraceSink = std::function<void(TraceLine const &)>;

// Null, the default: lines are dropped. The sink is called within the handler that traces, and must not
// block. What it raises is dropped with the line.
VORN_API void traceSinkIs(TraceSink sink);

// The highest level of a facility that is written; -1: none. It also applies to a facility of a library that
// is loaded later.
VORN_API void traceLevelIs(std::string_view facility, int level);

// The registered facilities, by name.
VORN_API std::vector<std::string> traceFacilities();

}  // namespace Vorn::Host
