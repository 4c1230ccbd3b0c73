// Where framework time comes from. The host sets one before it makes machines; the default is RealTime.
#pragma once

#include <functional>
#include <memory>

#include "runtime/Export.h"
#include "runtime/Vorn/Seconds.h"

namespace Host {

class RUNTIME_API TimeSource {
 public:
   virtual ~TimeSource();

   // Monotonic, live.
   virtual Vorn::Seconds now() = 0;
   // Since 1970.
   virtual Vorn::Seconds utc() = 0;
   // Real seconds that one second of this time takes; 0: this time is virtual and moves only by
   // `jumpTo` (and by readings, if it is told so).
   virtual double realSecondsPerSecond() const = 0;
   // How long a span of real time is in this time; in virtual time the same.
   Vorn::Seconds spanOf(Vorn::Seconds real) const {
      double const scale = realSecondsPerSecond();
      return scale > 0 ? real / scale : real;
   }
   // Virtual time only: moves to a deadline that all have agreed to wait for.
   virtual void jumpTo(Vorn::Seconds deadline);
};

// The kernel's clocks; with a scale above 1 both run that many times faster from construction on.
class RUNTIME_API RealTime final : public TimeSource {
 public:
   explicit RealTime(double scale = 1.0);
   Vorn::Seconds now() override;
   Vorn::Seconds utc() override;
   double realSecondsPerSecond() const override { return period_; }

 private:
   double scale_;
   double period_ = 1 / scale_;
   Vorn::Seconds monotonicStart_;
   Vorn::Seconds utcStart_;
};

// Time for tests: it stands still while there is work and jumps to the next deadline when there is
// none. While a real child process runs it waits for that.
class RUNTIME_API VirtualTime final : public TimeSource {
 public:
   explicit VirtualTime(Vorn::Seconds now = 1000, Vorn::Seconds utc = 1700000000) : now_{now}, utc_{utc} {}
   Vorn::Seconds now() override;
   Vorn::Seconds utc() override { return utc_; }
   double realSecondsPerSecond() const override { return 0; }
   void jumpTo(Vorn::Seconds deadline) override;

   // The clock jumped: both clocks move at once and nothing runs in between, as after a suspension.
   void jumpBy(Vorn::Seconds span);
   // Every reading of the current time moves it on by `step`, for tests of time budgets.
   void stepPerReadingIs(Vorn::Seconds step) { step_ = step; }

 private:
   Vorn::Seconds now_;
   Vorn::Seconds utc_;
   Vorn::Seconds step_ = 0;
};

// Null: RealTime. Clocks that wait keep their times, in the new source's terms.
RUNTIME_API void timeSourceIs(std::unique_ptr<TimeSource> source);
RUNTIME_API TimeSource & timeSource();

// The kernel's CLOCK_MONOTONIC, whatever the source says.
RUNTIME_API double monotonicSeconds();

}  // namespace Host
