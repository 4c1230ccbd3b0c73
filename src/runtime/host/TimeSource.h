// The source of framework time. The host sets one before it creates machines; the default is RealTime.
#pragma once

#include <functional>
#include <memory>

#include "runtime/Export.h"
#include "runtime/Vorn/Seconds.h"

namespace Vorn::Host {

class VORN_API TimeSource {
 public:
   virtual ~TimeSource();

   // Monotonic and live. The zero point is the source's own.
   virtual Vorn::Seconds now() = 0;
   // Since 1970. It may jump either way where the wall clock is corrected.
   virtual Vorn::Seconds utc() = 0;
   // Real seconds per second of this time. 0: virtual time, which advances only by `jumpTo` and, if set, by
   // readings.
   virtual double realSecondsPerSecond() const = 0;
   // Converts a span of real time to this time; unchanged in virtual time.
   Vorn::Seconds spanOf(Vorn::Seconds real) const {
      double const scale = realSecondsPerSecond();
      return scale > 0 ? real / scale : real;
   }
   // Virtual time only: advances to the next deadline.
   virtual void jumpTo(Vorn::Seconds deadline);
};

// The kernel's clocks, CLOCK_MONOTONIC and CLOCK_REALTIME. With another scale than 1 both run that many times
// as fast from the construction on, and corrections of the wall clock have no effect.
class VORN_API RealTime final : public TimeSource {
 public:
   // Above 0; nothing checks it.
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

// Time for tests. It stands still during work, and jumps to the next deadline when there is none. It waits
// for running child processes.
class VORN_API VirtualTime final : public TimeSource {
 public:
   explicit VirtualTime(Vorn::Seconds now = 1000, Vorn::Seconds utc = 1700000000) : now_{now}, utc_{utc} {}
   Vorn::Seconds now() override;
   Vorn::Seconds utc() override { return utc_; }
   double realSecondsPerSecond() const override { return 0; }
   void jumpTo(Vorn::Seconds deadline) override;

   // Advances both clocks at once, as after a suspension; nothing runs in between. Each clock that is due
   // then is called once, in the next turn.
   void jumpBy(Vorn::Seconds span);
   // Every reading of the current time advances it by `step`, for tests of time budgets.
   void stepPerReadingIs(Vorn::Seconds step) { step_ = step; }

 private:
   Vorn::Seconds now_;
   Vorn::Seconds utc_;
   Vorn::Seconds step_ = 0;
};

// Null: RealTime. Armed reactors keep their times, which the new source then measures. So replace it before
// machines exist: their times mean nothing to a source with another zero point.
VORN_API void timeSourceIs(std::unique_ptr<TimeSource> source);
// The current one. Valid until it is replaced.
VORN_API TimeSource & timeSource();

// The kernel's CLOCK_MONOTONIC, independent of the source. Any thread.
VORN_API Vorn::Seconds monotonicSeconds();

}  // namespace Vorn::Host
