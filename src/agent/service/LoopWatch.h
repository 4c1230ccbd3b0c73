// Detects stalls of the loop in samples of its activity, and words the notices about them. It reads no clock
// and no loop: the watchdog's thread takes the samples, a test makes them up.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "runtime/host/Activity.h"

namespace Agent {

// One stall: a turn of the loop that took `LoopWatch::stallSeconds` or longer.
struct Stall {
   double seconds = 0;     // so far, while it lasts
   std::string operation;  // the call that took most of it; "handler": no call that has a name
   std::string path;       // of that call; empty: it has none
   double time = 0;        // when the turn began, in UTC seconds since 1970
};

// The stalls that were reported since the start.
struct Stalls {
   std::uint64_t count = 0;
   double longestSeconds = 0;
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
      double now = 0;        // on the clock of `activity.since`, seconds
      double utcOfTurn = 0;  // when that turn began, in UTC seconds since 1970
   };

   // A turn that takes this long is a stall. Two samples in a row must show it: a single one may follow a
   // pause of the whole process or machine.
   static constexpr double stallSeconds = 5;

   // Takes the next sample. Answers the notice that is due now, if any.
   std::optional<Line> add(Sample const & sample);

   // Seconds until the next sample is due: fewer during a stall, so that its end is noticed soon.
   double pause() const;
   // Whether the turn of the latest sample had lasted for `stallSeconds`. The first such sample counts.
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
   bool isTimely(double now);
   void trackCalls(Sample const & sample);
   void record(double seconds);
   Line stallLine(double seconds);
   Line endLine(double seconds);

   double lastSampleAt_ = 0;
   Vorn::Host::Activity latest_;   // of the latest sample
   bool isOverdue_ = false;        // in that sample
   bool stalled_ = false;          // a stall is reported and has not ended
   double nextReportSeconds_ = 0;  // length of the stall at which it is reported again
   Call call_;                     // in the latest sample
   double callSince_ = 0;
   Call longestCall_;  // of the current turn
   double longestCallSeconds_ = 0;
   double turnUtc_ = 0;  // when the current turn began
   Stalls stalls_;
};

}  // namespace Agent
