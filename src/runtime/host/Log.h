// What a host does with log messages.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "runtime/Export.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Log.h"
#include "runtime/Vorn/Seconds.h"

namespace Host {

struct LogMessage {
   Vorn::LogDescriptor const & descriptor;
   std::vector<Pelm::String> const & arguments;
   Pelm::String text;  // any bytes; what comes from a device is not escaped
   Vorn::Seconds utc;
   // Of the arguments that are in the key of the rate limit.
   std::uint64_t argsHash = 0;
};

using LogSink = std::function<void(LogMessage const &)>;

// Null: messages are dropped, as they are until the host sets a sink.
RUNTIME_API void logSinkIs(LogSink sink);

namespace detail {
RUNTIME_API void emit(LogMessage const & message);
}

}  // namespace Host
