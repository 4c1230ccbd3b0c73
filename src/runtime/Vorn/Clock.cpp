#include "runtime/Vorn/Clock.h"

#include <exception>
#include <utility>

#include "runtime/Vorn/ActivityManager.h"
#include "runtime/Vorn/HostSide.h"

namespace Vorn {

Clock::~Clock() = default;

Seconds Clock::nextTime() const {
   return waiting_.empty() ? Seconds::infinity() : waiting_.begin()->time;
}

void Clock::fireDue(Seconds now) {
   std::uint64_t const armsBefore = arms_;
   // Handlers may arm, disarm and destroy any reactor, so each step reads the set again.
   for (auto next = waiting_.begin(); next != waiting_.end() && next->time <= now;) {
      if (next->order > armsBefore) {
         ++next;
         continue;
      }
      NotifieeConst & notifiee = *next->notifiee;
      notifiee.disarm();
      notifiee.timeMin_ = Seconds::infinity();
      notifiee.handleTime();
      next = waiting_.begin();
   }
}

Clock::NotifieeConst::Retry::Retry(NotifieeConst & notifiee)
    : notifiee_{&notifiee},
      outer_{std::exchange(notifiee.retry_, this)},
      exceptions_{std::uncaught_exceptions()} {}

Clock::NotifieeConst::Retry::~Retry() {
   if (!notifiee_)
      return;
   notifiee_->retry_ = outer_;
   bool const raised = std::uncaught_exceptions() > exceptions_;
   if (raised && notifiee_->timeMin() == Seconds::infinity())
      notifiee_->timeMinIs(System::currentTime() + retrySpan);
}

Clock::NotifieeConst::~NotifieeConst() {
   for (Retry * call = retry_; call; call = call->outer_)
      call->notifiee_ = nullptr;
   isRegisteredNotifieeIs(false);
   disarm();
}

void Clock::NotifieeConst::notifierIs(Pelm::Ptr<Clock> clock) {
   disarm();
   clock_ = std::move(clock);
   arm();
}

void Clock::NotifieeConst::hasNotificationActiveIs(bool active) {
   if (active == active_)
      return;
   disarm();
   active_ = active;
   arm();
}

void Clock::NotifieeConst::stoppedIs(bool stopped) {
   disarm();
   stopped_ = stopped;
   arm();
}

void Clock::NotifieeConst::isRegisteredNotifieeIs(bool registered) {
   if (registered == registered_)
      return;
   registered_ = registered;
   activityManager().registeredNotifieesInc(registered ? 1 : -1);
}

void Clock::NotifieeConst::timeMinIs(Seconds time) {
   disarm();
   timeMin_ = time;
   arm();
}

void Clock::NotifieeConst::arm() {
   // NaN would break the order of the set; it counts as never.
   if (!clock_ || !active_ || stopped_ || !(timeMin_ < Seconds::infinity()))
      return;
   order_ = ++clock_->arms_;
   Entry const entry{timeMin_, order_, this};
   if (place_) {
      place_.value() = entry;
      clock_->waiting_.insert(std::move(place_));
   } else {
      clock_->waiting_.insert(entry);
   }
   armed_ = true;
   if (clock_->waiting_.begin()->notifiee == this)
      HostSide::workChanged();
}

void Clock::NotifieeConst::disarm() {
   if (!armed_)
      return;
   place_ = clock_->waiting_.extract({timeMin_, order_, this});
   armed_ = false;
}

}  // namespace Vorn
