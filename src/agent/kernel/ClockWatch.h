// Detects that the wall clock was set back. Then the time of a device's last message lies in the future, and
// would suppress the next message until that time; so it is cleared.
#pragma once

#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/Seconds.h"
#include "runtime/model/StorageDevicesInfo.h"

namespace Agent {

class ClockWatch {
 public:
   // Framework time from one comparison of the clocks to the next.
   static constexpr Vorn::Seconds interval = 60;
   // What the wall clock may lose between two comparisons; gradual corrections take less.
   static constexpr Vorn::Seconds tolerance = 1;

   explicit ClockWatch(Pelm::Ptr<StorageDevicesInfo> info);

   // Compares the clocks now. Call it before each kernel line, so that its message finds a valid time.
   void check();

 private:
   void handleClock();

   Pelm::Ptr<StorageDevicesInfo> info_;
   Vorn::Seconds lead_;  // of the wall clock before framework time
   Vorn::Clock::Notifiee<&ClockWatch::handleClock> clock_;
};

}  // namespace Agent
