// What a host does with an exception that left a machine's handler.
#pragma once

#include <functional>
#include <string_view>

#include "runtime/Export.h"

namespace Host {

// `machine` is the class of the machine, `what` the exception's own text. After a failed allocation they are
// the class in the compiler's spelling and "out of memory": nothing was allocated to make them. What the sink
// raises is caught; the failure is then a line on standard error.
using FailureSink = std::function<void(std::string_view machine, std::string_view what)>;

// Null: a line on standard error.
RUNTIME_API void failureSinkIs(FailureSink sink);

}  // namespace Host
