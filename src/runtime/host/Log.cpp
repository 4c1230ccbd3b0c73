#include "runtime/host/Log.h"

#include <utility>

#include "runtime/Vorn/HostSide.h"

namespace Host {

namespace {

LogSink & sink() {
   static auto * const instance = new LogSink;
   return *instance;
}

}  // namespace

void logSinkIs(LogSink newSink) {
   sink() = std::move(newSink);
}

}  // namespace Host

void Vorn::HostSide::emit(LogMessage const & message) {
   if (Host::LogSink const & sink = Host::sink())
      sink(message);
}
