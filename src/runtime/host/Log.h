// What a host does with log messages.
#pragma once

#include <functional>

#include "runtime/Export.h"
#include "runtime/Vorn/Log.h"

namespace Host {

using LogMessage = Vorn::LogMessage;
using LogSink = std::function<void(LogMessage const &)>;

// Null: messages are dropped, as they are until the host sets a sink.
RUNTIME_API void logSinkIs(LogSink sink);

}  // namespace Host
