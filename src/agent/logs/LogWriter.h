// Writes the lines of the log to their destination, on a thread of its own behind a bounded queue. So neither
// a destination that is stalled nor one that is missing stalls a caller.
//
// While nothing reads at the destination, lines wait. Beyond the queue's bounds they are dropped and counted,
// and the count is logged when there is room again. While nobody is there, attempts follow each second.
// Nothing that was logged before is lost by the restart of a collector.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

#include "agent/logs/LogEntry.h"
#include "agent/logs/LogSink.h"
#include "base/HelperThread.h"

namespace Agent {

class LogWriter {
 public:
   // The end waits so long for lines that the destination has not accepted.
   static constexpr std::chrono::milliseconds endPatience{1000};

   // `substitute` is told once when nobody is at the destination, and at the end how many lines that costs.
   // It is null where the destination is standard error itself. Where the system refuses the thread, lines
   // are written by the callers, without waiting, until there is one.
   LogWriter(std::unique_ptr<LogSink> sink, std::unique_ptr<LogSink> substitute);
   LogWriter(LogWriter const &) = delete;
   LogWriter & operator=(LogWriter const &) = delete;
   // Takes at most a quarter of a second longer than `endPatience`. A thread that the kernel does not let go
   // is left behind.
   ~LogWriter();

   // Never waits. Any thread may call it.
   void add(LogEntry const & entry);

   // The number of lines dropped since the start.
   std::uint64_t dropped() const;

   // Waits until the destination has accepted every line. Answers whether it has; it does not wait for a
   // destination that is missing.
   bool flush(std::chrono::milliseconds limit);

 private:
   class Delivery;

   bool hasThread();

   std::shared_ptr<Delivery> delivery_;  // the thread's too
   std::mutex starting_;                 // of `thread_`
   std::optional<Base::HelperThread> thread_;
};

}  // namespace Agent
