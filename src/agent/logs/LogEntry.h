// An entry of the agent's log, before it has the form of a destination.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "runtime/Vorn/Seconds.h"
#include "runtime/host/Log.h"
#include "runtime/host/Trace.h"

namespace Agent {

struct LogEntry {
   enum class Kind : std::uint8_t { message, notice, trace };

   Kind kind = Kind::notice;
   int severity = 0;                         // of syslog, 0 to 7
   Vorn::Seconds utc;                        // when it was logged, since 1970
   std::string origin;                       // a message's name; a trace's "FACILITY/LEVEL FUNCTION"
   std::string text;                         // printable: one line of UTF-8 without control characters
   std::span<Pelm::String const> arguments;  // of a message, any bytes
};

// A text of a device, of any bytes, as the log shows it: printable, and spelled as in the state document.
std::string printable(std::string_view text);

// A message of the library. The arguments stay the message's own.
LogEntry entryOf(Vorn::Host::LogMessage const & message);
// The beginning of a trace: it may contain the whole output of a tool, megabytes.
LogEntry entryOf(Vorn::Host::TraceLine const & trace, Vorn::Seconds utc);
// A notice of the agent itself.
LogEntry noticeEntry(int severity, std::string_view text, Vorn::Seconds utc);

}  // namespace Agent
