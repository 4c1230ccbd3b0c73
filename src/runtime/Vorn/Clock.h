// The activity manager's clock, and the reactors that wait for a time on it. All times are framework time
// (`System::currentTime`), which a host may scale or replace. A handler is never called before its time. It
// may be called later: by the length of the handlers before it, or by a suspension of the machine.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <set>

#include "runtime/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/HandlerCall.h"
#include "runtime/Vorn/Seconds.h"

namespace Vorn {

class VORN_API Clock : public Pelm::Node {
 public:
   class NotifieeConst;
   template <auto handler>
   class Notifiee;

   ~Clock() override;

   // The earliest wake-up time; infinity without one.
   Seconds nextTime() const;

   // Calls the handler of every reactor that is due at `now`, once. A reactor that is armed again meanwhile
   // waits for the next call.
   void fireDue(Seconds now);

 private:
   struct Entry {
      Seconds time;
      std::uint64_t order;  // equal times: in order of arming
      NotifieeConst * notifiee;
      bool operator<(Entry const & other) const {
         return time != other.time ? time < other.time : order < other.order;
      }
   };

   std::set<Entry> waiting_;
   std::uint64_t arms_ = 0;
};

// A reactor for a time. Its first wake-up time is 0. So it is called in the first turn after it is attached
// and active, unless it is armed for another time. A handler that raises before it arms the reactor again is
// called again after `retrySpan`, so that a shortage of memory ends no machine's work.
class VORN_API Clock::NotifieeConst : protected Pelm::OwnReactor {
 public:
   static constexpr Seconds retrySpan = 60;  // framework time

   NotifieeConst() = default;
   ~NotifieeConst() override;

   // Attaches to another clock; null: to none.
   void notifierIs(Pelm::Ptr<Clock> clock);
   Pelm::Ptr<Clock> const & notifier() const { return clock_; }

   // Off at first, except for `Notifiee`. While it is off a time passes without a call; a time that has
   // passed is due when it is switched on.
   void hasNotificationActiveIs(bool active);
   bool hasNotificationActive() const { return active_; }

   // Whether the activity manager counts this reactor as registered.
   void isRegisteredNotifieeIs(bool registered);
   bool isRegisteredNotifiee() const { return registered_; }

   // Requests one call of the handler as soon as the current time is at least `time`; replaces the previous
   // request. Infinity, and NaN: never. Before the call it is set to never, so a handler that goes on asks
   // for its next time. Only the first request allocates memory.
   void timeMinIs(Seconds time);
   Seconds timeMin() const { return timeMin_; }

 protected:
   // Stands in a handler's call.
   class VORN_API Retry {
    public:
      explicit Retry(NotifieeConst & notifiee);
      Retry(Retry const &) = delete;
      ~Retry();

    private:
      NotifieeConst * notifiee_;  // null: destroyed meanwhile
      Retry * outer_;
      int exceptions_;
      friend NotifieeConst;
   };

   virtual void handleTime() noexcept = 0;

 private:
   friend Clock;
   void stoppedIs(bool stopped) override;
   void arm();
   void disarm();

   Pelm::Ptr<Clock> clock_;
   Retry * retry_ = nullptr;           // of the call under way
   std::set<Entry>::node_type place_;  // its node of the set while it does not wait
   Seconds timeMin_ = 0;
   std::uint64_t order_ = 0;
   bool active_ = false;
   bool stopped_ = false;
   bool armed_ = false;
   bool registered_ = false;
};

namespace detail {
template <auto handler>
struct TimeHandler;
template <class Machine, void (Machine::*handler)()>
struct TimeHandler<handler> {
   using Of = Machine;
};
}  // namespace detail

// The clock reactor of a machine, attached and active from construction:
//
//    Vorn::Clock::Notifiee<&Monitor::handlePollClock> pollClock_{*this};
//
// It stops with the machine, which stays whole until the handler returns.
template <auto handler>
class Clock::Notifiee final : public Clock::NotifieeConst {
   using Machine = typename detail::TimeHandler<handler>::Of;

 public:
   // Due in the next turn; or at `firstTime`.
   explicit Notifiee(Machine & machine);
   Notifiee(Machine & machine, Seconds firstTime);

 private:
   void handleTime() noexcept override {
      Vorn::callHandler(machine_, [this] {
         Retry const retry{*this};
         (machine_.*handler)();
      });
   }

   Machine & machine_;
};

namespace detail {
VORN_API Pelm::Ptr<Clock> activityClock();
}

template <auto handler>
Clock::Notifiee<handler>::Notifiee(Machine & machine) : Notifiee{machine, 0} {}

template <auto handler>
Clock::Notifiee<handler>::Notifiee(Machine & machine, Seconds firstTime) : machine_{machine} {
   if constexpr (std::derived_from<Machine, Pelm::Node>)
      ownerIs(&machine);
   timeMinIs(firstTime);
   notifierIs(detail::activityClock());
   hasNotificationActiveIs(true);
}

}  // namespace Vorn
