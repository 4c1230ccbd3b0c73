// The agent's lines on standard error: log messages, traces and its own notices.
//
// A reader that has stalled never holds the agent: what does not fit at once is dropped and counted,
// and the count is told as soon as there is room again.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "runtime/host/Log.h"
#include "runtime/host/Trace.h"

namespace Agent {

class StderrLog {
 public:
   // Sets the runtime's sinks for log messages, traces and failures of handlers; unsets them when it goes.
   explicit StderrLog(int fd = 2);
   StderrLog(StderrLog const &) = delete;
   StderrLog & operator=(StderrLog const &) = delete;
   ~StderrLog();

   // A line of the agent itself: "<time> <severity word> storagedevices: <text>".
   void notice(int severity, std::string_view text);
   void message(Host::LogMessage const & message);
   void trace(Host::TraceLine const & line);

   std::uint64_t dropped() const { return droppedTotal_; }

 private:
   void line(std::string text);
   bool writeAtOnce(std::string_view text) const;

   int fd_;
   std::uint64_t droppedTotal_ = 0;
   std::uint64_t droppedUntold_ = 0;
};

}  // namespace Agent
