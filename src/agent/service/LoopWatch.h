// Judges from looks at the loop whether it is held, and what is to be said of it. Pure: the looks come from
// the watchdog's thread, in tests from nowhere.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "runtime/host/Activity.h"

namespace Agent {

struct Hold {
   double seconds = 0;     // so far, while it lasts
   std::string operation;  // the call that took most of it; "handler": none that has a name
   std::string path;       // of that call, empty where there is none
   double time = 0;        // when it began, in UTC seconds since 1970
};

struct Holds {
   std::uint64_t count = 0;
   double longestSeconds = 0;
   std::optional<Hold> last;
};

class LoopWatch {
 public:
   struct Line {
      int severity;
      std::string text;
   };
   struct Look {
      Host::Activity seen;
      double now = 0;        // in the terms of `seen.since`
      double utcOfTurn = 0;  // when that turn began, in UTC seconds since 1970
   };

   // Handlers that take this long hold the loop. It is said when the second look in a row finds them at it:
   // one look alone may come after the process was stopped, or the machine did not run.
   static constexpr double holdSeconds = 5;

   // Answers what is to be said now, if anything is.
   std::optional<Line> look(Look const & look);

   // Seconds to the next look: soon, while the end of a hold is waited for.
   double pause() const;
   // Whether the latest look has found handlers that take too long.
   bool tooLong() const { return tooLong_; }
   Holds const & holds() const { return holds_; }

 private:
   struct Call {
      std::string operation;
      std::string path;
      bool operator==(Call const &) const = default;
   };

   static Call callOf(Host::Activity const & seen);
   static std::string words(Call const & call);
   bool isTimely(double now);
   void blame(Look const & look);
   void record(double seconds);
   Line beginOrGoOn(double seconds);
   Line end(double seconds);

   double lastLook_ = 0;
   Host::Activity turn_;   // as it was seen last
   bool tooLong_ = false;  // in that look
   bool held_ = false;     // and said
   double tellAgain_ = 0;  // seconds of the hold
   Call now_;              // the call that was seen last
   double nowSince_ = 0;   // how long that has been so
   Call longest_;          // the call of this turn that took longest
   double longestSeconds_ = 0;
   double utc_ = 0;  // when the turn began
   Holds holds_;
};

}  // namespace Agent
