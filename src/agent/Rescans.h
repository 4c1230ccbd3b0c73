// Has discovery rescan, and reports the devices that it cannot classify for want of means.
//
// A rescan comes with every removal that named no serial, and a second later once more, since the kernel
// announces a removal before the device's folder is gone; once a minute; and while something is unclassified
// after 1, 2, 4 seconds and so on up to that minute. Two are at least a second apart. All framework time.
#pragma once

#include <functional>
#include <string>

#include "StorageDevices/ConnectedDevicesSm.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/Notifiee.h"
#include "runtime/Vorn/Seconds.h"

namespace Agent {

class Rescans {
 public:
   // A line for the operator, with its syslog severity.
   using Notice = std::function<void(int severity, std::string const & text)>;

   static constexpr double period = 60;       // seconds
   static constexpr double shortestWait = 1;  // seconds

   // `discovery` may be null: then there is nothing to do.
   Rescans(Pelm::Ptr<StorageDevices::ConnectedDevicesSm> discovery, Notice notice);

 private:
   void handleRemoval();
   void handleUnclassified(Vorn::Change<StorageDevices::Unclassified> const & change);
   void handleClock();
   void rescanAfter(double wait);
   double nextWait();

   Pelm::Ptr<StorageDevices::ConnectedDevicesSm> discovery_;
   Notice notice_;
   bool removalPending_ = false;
   double retryWait_ = shortestWait;  // until the next attempt to classify what could not be
   Vorn::Seconds latest_ = -period;   // when the latest rescan was
   Vorn::Clock::Notifiee<&Rescans::handleClock> clock_;
   Vorn::NotifieeConst reactor_;
};

}  // namespace Agent
