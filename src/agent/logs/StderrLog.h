// The agent's lines on standard error: log messages, traces and its own notices.
//
// A reader that has stalled never holds the agent: what does not fit at once is dropped and counted,
// and the count is told as soon as there is room again.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
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
   // The same from another thread than the loop's. When that one is held in a line of its own the new one is
   // dropped.
   void noticeFromBeside(int severity, std::string_view text);
   void message(Host::LogMessage const & message);
   void trace(Host::TraceLine const & line);

   std::uint64_t dropped() const { return droppedTotal_; }

 private:
   void line(std::string text);
   void lineAlone(std::string text);
   bool writeAtOnce(std::string_view text) const;

   int fd_;
   std::mutex writing_;  // whoever finds room for a line must find it still there when it writes
   std::atomic<std::uint64_t> droppedTotal_ = 0;
   std::atomic<std::uint64_t> droppedUntold_ = 0;
};

}  // namespace Agent
