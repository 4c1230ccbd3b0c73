// The lines of the log that wait for their destination: bounded, in order. Not safe for threads.
//
// What does not fit is dropped and counted. A line that reports the count stands where the dropped lines
// would have stood.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>

#include "runtime/Vorn/Seconds.h"

namespace Agent {

class LogQueue {
 public:
   struct Line {
      std::string bytes;
      Vorn::Seconds utc;  // when it was logged, since 1970
   };
   // Makes the line that reports the number of dropped lines, the latest of them logged at `utc`.
   using Report = std::function<std::string(std::uint64_t count, Vorn::Seconds utc)>;

   static constexpr std::size_t mostLines = 1000;
   static constexpr std::size_t mostBytes = 262144;

   explicit LogQueue(Report report);

   // Drops the line where there is no room. After a drop there is room when half of it is empty, so that
   // reports do not take the place of lines.
   void add(Line line);
   // The oldest line, or a report that is due; empty: there is none.
   std::optional<Line> take();
   // A line that was taken is lost.
   void drop(Line const & line);

   bool empty() const { return lines_.empty() && unreported_ == 0; }
   std::size_t size() const { return lines_.size(); }
   // The number of lines dropped since the start.
   std::uint64_t dropped() const { return dropped_; }

 private:
   bool isFullWith(std::size_t bytes) const;
   void addReport();
   void append(Line line);

   Report report_;
   std::deque<Line> lines_;
   std::size_t bytes_ = 0;
   std::uint64_t dropped_ = 0;
   std::uint64_t unreported_ = 0;  // of these
   Vorn::Seconds droppedAt_;       // when the latest of them was logged
};

}  // namespace Agent
