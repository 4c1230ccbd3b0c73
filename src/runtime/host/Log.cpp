#include "runtime/host/Log.h"

#include <utility>

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

void detail::emit(LogMessage const & message) {
   if (sink())
      sink()(message);
}

}  // namespace Host
