// Notices that the wall clock was set back. What was logged of a device at a time that is yet to come would
// keep its next error from being logged until then, so that is forgotten.
#pragma once

#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/Seconds.h"
#include "runtime/model/StorageDevicesInfo.h"

namespace Agent {

class ClockWatch {
 public:
   // Framework seconds from one comparison of the clocks to the next.
   static constexpr double interval = 60;
   // The wall clock may lose that many seconds between two comparisons, as corrections take.
   static constexpr double tolerance = 1;

   explicit ClockWatch(Pelm::Ptr<StorageDevicesInfo> info);

   // Compares the clocks now, beside what the interval does: what is logged next must find what holds.
   void check();

 private:
   void handleClock();

   Pelm::Ptr<StorageDevicesInfo> info_;
   Vorn::Seconds lead_;  // of the wall clock before framework time
   Vorn::Clock::Notifiee<&ClockWatch::handleClock> clock_;
};

}  // namespace Agent
