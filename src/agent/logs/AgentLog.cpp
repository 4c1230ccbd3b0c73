#include "agent/logs/AgentLog.h"

#include <syslog.h>

#include <string>
#include <utility>

#include "runtime/Vorn/Seconds.h"
#include "runtime/host/Failure.h"

namespace Agent {

AgentLog::AgentLog(std::unique_ptr<LogSink> sink, std::unique_ptr<LogSink> substitute)
    : writer_{std::move(sink), std::move(substitute)} {
   Vorn::Host::logSinkIs([this](Vorn::Host::LogMessage const & logged) { message(logged); });
   Vorn::Host::traceSinkIs([this](Vorn::Host::TraceLine const & traced) { trace(traced); });
   Vorn::Host::failureSinkIs([this](std::string_view machine, std::string_view what) {
      notice(LOG_ERR, std::string{"a handler of "}.append(machine).append(" failed: ").append(what));
   });
}

AgentLog::~AgentLog() {
   Vorn::Host::logSinkIs(nullptr);
   Vorn::Host::traceSinkIs(nullptr);
   Vorn::Host::failureSinkIs(nullptr);
}

void AgentLog::notice(int severity, std::string_view text) {
   writer_.add(noticeEntry(severity, text, Vorn::System::currentTimeUtc()));
}

void AgentLog::message(Vorn::Host::LogMessage const & message) {
   writer_.add(entryOf(message));
}

void AgentLog::trace(Vorn::Host::TraceLine const & line) {
   writer_.add(entryOf(line, Vorn::System::currentTimeUtc()));
}

}  // namespace Agent
