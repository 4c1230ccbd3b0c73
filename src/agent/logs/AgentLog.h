// The agent's log: messages of the library, traces, failures of handlers and the agent's own notices, all to
// one destination. Nothing that happens there stalls a caller (LogWriter).
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string_view>

#include "agent/logs/LogSink.h"
#include "agent/logs/LogWriter.h"
#include "runtime/host/Log.h"
#include "runtime/host/Trace.h"

namespace Agent {

class AgentLog {
 public:
   // Sets the runtime's sinks for log messages, traces and failures of handlers; the destructor unsets them.
   // The two sinks are those of LogWriter.
   explicit AgentLog(std::unique_ptr<LogSink> sink, std::unique_ptr<LogSink> substitute = nullptr);
   // Waits at most 1.25 s for a destination that is stalled.
   ~AgentLog();

   // Logs a line of the agent itself. Any thread may call it.
   void notice(int severity, std::string_view text);
   void message(Vorn::Host::LogMessage const & message);
   void trace(Vorn::Host::TraceLine const & line);

   // The number of lines dropped since the start.
   std::uint64_t dropped() const { return writer_.dropped(); }
   // As LogWriter::flush.
   bool flush(std::chrono::milliseconds limit) { return writer_.flush(limit); }

 private:
   LogWriter writer_;
};

}  // namespace Agent
