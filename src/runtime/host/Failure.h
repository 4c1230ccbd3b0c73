// The host's sink for exceptions that leave a machine's handler.
#pragma once

#include <functional>
#include <string_view>

#include "runtime/Export.h"

namespace Vorn::Host {

// `machine` is the class of the machine, `what` the exception's text. After a failed allocation they are the
// class in the compiler's spelling and "out of memory", so that they need no memory. If the sink raises, the
// failure becomes a line on standard error.
using FailureSink = std::function<void(std::string_view machine, std::string_view what)>;

// Null: a line on standard error.
VORN_API void failureSinkIs(FailureSink sink);

}  // namespace Vorn::Host
