// The host's sink for log messages.
#pragma once

#include <functional>

#include "runtime/Export.h"
#include "runtime/Vorn/Log.h"

namespace Vorn::Host {

using LogMessage = Vorn::LogMessage;
using LogSink = std::function<void(LogMessage const &)>;

// Null, the default: messages are dropped. The sink is called on the reactor thread, within the handler that
// logs. It must not block: every machine waits for it. What it raises counts as that handler's failure.
VORN_API void logSinkIs(LogSink sink);

}  // namespace Vorn::Host
