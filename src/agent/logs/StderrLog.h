// The agent's lines on standard error: log messages, traces and its own notices.
//
// A stalled reader never stalls the agent. A line that does not fit at once is dropped and counted; the count
// is reported as soon as there is room again.
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
   // Sets the runtime's sinks for log messages, traces and failures of handlers; the destructor unsets them.
   explicit StderrLog(int fd = 2);
   ~StderrLog();

   // Writes a line of the agent itself: "<time> <severity word> storagedevices: <text>".
   void notice(int severity, std::string_view text);
   // The same for any other thread than the loop's. The line is dropped when the loop's thread stalls within
   // a line for 100 ms.
   void noticeFromOtherThread(int severity, std::string_view text);
   void message(Vorn::Host::LogMessage const & message);
   void trace(Vorn::Host::TraceLine const & line);

   // The number of lines dropped since the start.
   std::uint64_t dropped() const { return droppedTotal_; }

 private:
   void line(std::string text);
   void lineAlone(std::string text);
   bool writeAtOnce(std::string_view text) const;

   int fd_;
   std::mutex writing_;  // the room that a thread finds must still be there when it writes
   std::atomic<std::uint64_t> droppedTotal_ = 0;
   std::atomic<std::uint64_t> droppedUnreported_ = 0;
};

}  // namespace Agent
