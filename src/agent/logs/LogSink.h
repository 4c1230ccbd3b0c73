// A destination of the log.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "agent/logs/LogEntry.h"

namespace Agent {

class LogSink {
 public:
   enum class Outcome : std::uint8_t {
      sent,
      full,     // nothing is read there now: try again when `descriptor` is writable
      refused,  // this line cannot be sent, others can
      absent,   // nobody receives lines there: try again later
   };

   LogSink() = default;
   LogSink(LogSink const &) = delete;
   LogSink & operator=(LogSink const &) = delete;
   virtual ~LogSink() = default;

   // As it stands in a sentence: "standard error", "the journal".
   virtual char const * name() const = 0;
   // What `send` takes for the entry. Any thread may call it.
   virtual std::string formOf(LogEntry const & entry) const = 0;

   // Sends one line. Never waits for a reader. Takes no memory. A line that was not sent comes again; what
   // was written of it is not repeated.
   virtual Outcome send(std::string_view line) = 0;
   virtual int descriptor() const = 0;
   // Why the latest `send` found nobody.
   virtual std::string absence() const = 0;
};

}  // namespace Agent
