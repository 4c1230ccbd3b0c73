// The log on standard error: a line of text for each entry.
#pragma once

#include <cstddef>
#include <string_view>

#include "agent/logs/LogSink.h"

namespace Agent {

class StderrSink : public LogSink {
 public:
   // The descriptor stays the caller's.
   explicit StderrSink(int fd = 2);

   char const * name() const override;
   std::string formOf(LogEntry const & entry) const override;
   // A file on a disk that does not answer may still stall the caller.
   Outcome send(std::string_view line) override;
   int descriptor() const override { return fd_; }
   std::string absence() const override;

 private:
   Outcome outcomeOf(ssize_t sent, std::size_t size);

   int fd_;
   std::string_view begun_;   // the line of which a part is written: compared by its place, never read
   std::size_t written_ = 0;  // bytes of it
   int error_ = 0;
};

}  // namespace Agent
