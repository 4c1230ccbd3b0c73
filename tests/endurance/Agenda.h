// The model's own clock: what is due first comes first; of what falls together, what was armed first.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

namespace Endurance {

class Agenda;

// Acts once each time that it is set. Deleting it cancels it.
class Timer {
 public:
   Timer(Agenda & agenda, std::function<void()> act) : agenda_{agenda}, act_{std::move(act)} {}
   Timer(Timer const &) = delete;
   Timer & operator=(Timer const &) = delete;
   ~Timer() { clear(); }

   void at(double time);
   void clear();

 private:
   friend class Agenda;
   Agenda & agenda_;
   std::function<void()> act_;
   double time_ = 0;
   std::uint64_t order_ = 0;  // 0: not set
};

class Agenda {
 public:
   explicit Agenda(double now) : now_{now} {}
   double now() const { return now_; }

   // Acts at the present time, after all that is due now: as what waits for a descriptor.
   void afterwards(std::function<void()> act) { ready_.push_back(std::move(act)); }
   // Time passes, and what is due acts at its time.
   void runUntil(double time) {
      while (!timers_.empty() && std::get<0>(*timers_.begin()) <= time) {
         now_ = std::max(now_, std::get<0>(*timers_.begin()));
         fire();
      }
      now_ = std::max(now_, time);
   }
   // Time passes at once, and what is due acts late.
   void jump(double span) {
      now_ += span;
      runUntil(now_);
   }

 private:
   friend class Timer;

   void fire() {
      std::uint64_t const before = orders_;
      for (auto next = timers_.begin(); next != timers_.end() && std::get<0>(*next) <= now_;) {
         if (std::get<1>(*next) > before) {
            ++next;
            continue;
         }
         Timer & timer = *std::get<2>(*next);
         timer.clear();
         auto const act = timer.act_;  // it may delete the timer
         act();
         next = timers_.begin();
      }
      for (auto const & act : std::exchange(ready_, {}))
         act();
   }

   double now_;
   std::uint64_t orders_ = 0;
   std::set<std::tuple<double, std::uint64_t, Timer *>> timers_;
   std::vector<std::function<void()>> ready_;
};

inline void Timer::at(double time) {
   clear();
   time_ = time;
   order_ = ++agenda_.orders_;
   agenda_.timers_.emplace(time_, order_, this);
}

inline void Timer::clear() {
   if (order_ != 0)
      agenda_.timers_.erase({time_, order_, this});
   order_ = 0;
}

}  // namespace Endurance
