#include "runtime/host/Log.h"

#include <utility>

#include "runtime/Vorn/HostSide.h"

namespace Vorn::Host {

namespace {

LogSink & sink() {
   static auto * const instance = new LogSink;
   return *instance;
}

}  // namespace

void logSinkIs(LogSink newSink) {
   sink() = std::move(newSink);
}

}  // namespace Vorn::Host

void Vorn::HostSide::emit(LogMessage const & message) {
   if (Vorn::Host::LogSink const & sink = Vorn::Host::sink())
      sink(message);
}
