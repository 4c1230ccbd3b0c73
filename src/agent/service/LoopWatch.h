// Detects stalls of the loop in samples of its activity, and words the notices about them. It reads no clock
// and no loop: the watchdog's thread takes the samples, a test makes them up.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "runtime/Vorn/Seconds.h"
#include "runtime/host/Activity.h"

namespace Agent {

// One stall: a turn of the loop that took `LoopWatch::shortestStall` or longer.
struct Stall {
   Vorn::Seconds duration;  // so far, while it lasts
   std::string operation;   // the call that took most of it; "handler": no call that has a name
   std::string path;        // of that call; empty: it has none
   Vorn::Seconds utc;       // when the turn began, since 1970
};

// The stalls that were reported since the start.
struct Stalls {
   std::uint64_t count = 0;
   Vorn::Seconds longest;
   std::optional<Stall> last;  // nothing before the first
};

class LoopWatch {
 public:
   // A notice for the operator.
   struct Line {
      int severity;  // of syslog
      std::string text;
   };
   struct Sample {
      Vorn::Host::Activity activity;
      Vorn::Seconds now;        // on the clock of `activity.since`
      Vorn::Seconds utcOfTurn;  // when that turn began, since 1970
   };

   // A turn that takes this long is a stall. Two samples in a row must show it: a single one may follow a
   // pause of the whole process or machine.
   static constexpr Vorn::Seconds shortestStall = 5;

   // Takes the next sample. Answers the notice that is due now, if any.
   std::optional<Line> add(Sample const & sample);

   // Until the next sample is due: longer while the loop is idle, so that an idle agent wakes rarely; shorter
   // during a stall, so that its end is noticed soon.
   Vorn::Seconds pause() const;
   // Whether the turn of the latest sample had lasted for `shortestStall`. The first such sample counts.
   bool isOverdue() const { return isOverdue_; }
   Stalls const & stalls() const { return stalls_; }

 private:
   struct Call {
      std::string operation;
      std::string path;
      bool operator==(Call const &) const = default;
   };

   static Call callOf(Vorn::Host::Activity const & activity);
   static std::string description(Call const & call);
   bool isTimely(Vorn::Seconds now);
   void trackCalls(Sample const & sample);
   void record(Vorn::Seconds span);
   Line stallLine(Vorn::Seconds span);
   Line endLine(Vorn::Seconds span);

   Vorn::Seconds lastSampleAt_;
   Vorn::Host::Activity latest_;  // of the latest sample
   bool isOverdue_ = false;       // in that sample
   bool stalled_ = false;         // a stall is reported and has not ended
   Vorn::Seconds nextReport_;     // length of the stall at which it is reported again
   Call call_;                    // in the latest sample
   Vorn::Seconds callSince_;
   Call longestCall_;  // of the current turn
   Vorn::Seconds longestCallSpan_;
   Vorn::Seconds turnUtc_;  // when the current turn began
   Stalls stalls_;
};

}  // namespace Agent
