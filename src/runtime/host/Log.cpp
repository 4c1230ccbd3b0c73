#include "runtime/host/Log.h"

#include <utility>

#include "runtime/Vorn/HostSide.h"

namespace Vorn::Host {

namespace {

LogSink & currentLogSink() {
   static auto * const instance = new LogSink;
   return *instance;
}

}  // namespace

void logSinkIs(LogSink newSink) {
   currentLogSink() = std::move(newSink);
}

}  // namespace Vorn::Host

void Vorn::HostSide::emit(LogMessage const & message) {
   if (Vorn::Host::LogSink const & sink = Vorn::Host::currentLogSink())
      sink(message);
}
