#include "runtime/host/Loop.h"

#include <algorithm>
#include <cmath>

#include "runtime/Vorn/ActivityManager.h"
#include "runtime/Vorn/Poller.h"
#include "runtime/host/LoopTimer.h"
#include "runtime/host/TimeSource.h"

namespace Vorn::Host {

namespace {

bool stopAsked = false;

// The wait in milliseconds, rounded up so that it never ends before a deadline.
int milliseconds(Vorn::Seconds real) {
   constexpr double longest = 3600e3;  // one idle turn an hour costs nothing
   return static_cast<int>(std::clamp(std::ceil(real.value() * 1e3), 0.0, longest));
}

Turn realTurn(Vorn::Clock & clock, double secondsPerSecond, Vorn::Seconds maxWait) {
   Vorn::Poller & poller = Vorn::Poller::instance();
   // A busy loop polls without reading the clock first; an idle loop can afford a second poll.
   std::size_t notified = poller.turn(0);
   if (!notified && maxWait > 0) {
      Vorn::Seconds const untilNext = (clock.nextTime() - Vorn::System::currentTime()) * secondsPerSecond;
      notified = poller.turn(milliseconds(std::min(untilNext, maxWait)));
   }
   Vorn::Seconds const now = Vorn::System::currentTime();
   bool const due = clock.nextTime() <= now;
   if (due)
      clock.fireDue(now);
   return notified || due ? Turn::worked : Turn::idle;
}

Turn virtualTurn(Vorn::Clock & clock, TimeSource & time, Vorn::Seconds maxWait) {
   Vorn::Poller & poller = Vorn::Poller::instance();
   std::size_t notified = poller.turn(0);
   if (clock.nextTime() <= time.now()) {
      clock.fireDue(time.now());
      return Turn::worked;
   }
   if (notified)
      return Turn::worked;
   if (Vorn::activityManager().outsideWork() > 0) {
      notified = poller.turn(milliseconds(maxWait));
      return notified ? Turn::worked : Turn::idle;
   }
   if (clock.nextTime() == Vorn::Seconds::infinity())
      return Turn::idle;
   time.jumpTo(clock.nextTime());
   return Turn::worked;
}

// Waits on the clock for the caller's deadline.
class Alarm {
 public:
   explicit Alarm(Vorn::Seconds time) { wake_.timeMinIs(time); }
   bool rang() const { return rang_; }

 private:
   void ring() { rang_ = true; }

   bool rang_ = false;
   Vorn::Clock::Notifiee<&Alarm::ring> wake_{*this};
};

}  // namespace

int loopDescriptor() {
   LoopTimer::make();
   return Vorn::Poller::instance().descriptor();
}

Turn turn(Vorn::Seconds maxWait) {
   LoopTimer::Turn const timerAfterwards;
   Vorn::Clock & clock = *Vorn::activityManager().config()->clock();
   double const secondsPerSecond = timeSource().realSecondsPerSecond();
   return secondsPerSecond > 0 ? realTurn(clock, secondsPerSecond, maxWait)
                               : virtualTurn(clock, timeSource(), maxWait);
}

void run() {
   while (!stopAsked)
      turn();
   stopAsked = false;
}

void stop() {
   stopAsked = true;
}

bool stopRequested() {
   return stopAsked;
}

bool runUntil(std::function<bool()> const & done, Vorn::Seconds deadline) {
   Alarm const alarm{deadline};
   // It was armed last, so all reactors that are due at the deadline are called before it.
   while (!done()) {
      if (alarm.rang())
         return false;
      turn();
   }
   return true;
}

void runFor(Vorn::Seconds span) {
   runUntil([] { return false; }, Vorn::System::currentTime() + span);
}

}  // namespace Vorn::Host
