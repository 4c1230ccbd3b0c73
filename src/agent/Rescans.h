// Starts discovery's rescans, and reports devices that it cannot classify because of a shortage.
//
// It rescans once a minute, at every removal without a serial, and a second after such a removal. The kernel
// announces a removal before the device's folder is gone. While a device is unclassified it rescans after 1,
// 2, 4 seconds and so on, up to a minute. Two rescans are at least a second apart. All times are framework
// time.
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

   static constexpr Vorn::Seconds period = 60;
   static constexpr Vorn::Seconds shortestWait = 1;

   // `discovery` may be null: then there is nothing to do.
   Rescans(Pelm::Ptr<StorageDevices::ConnectedDevicesSm> discovery, Notice notice);

 private:
   void handleRemoval();
   void handleUnclassified(Vorn::Change<StorageDevices::Unclassified> const & change);
   void handleClock();
   void rescanAfter(Vorn::Seconds wait);
   Vorn::Seconds nextWait();

   Pelm::Ptr<StorageDevices::ConnectedDevicesSm> discovery_;
   Notice notice_;
   bool removalPending_ = false;
   Vorn::Seconds retryWait_ = shortestWait;           // until the next attempt to classify
   Vorn::Seconds latest_ = Vorn::Seconds{} - period;  // time of the latest rescan
   Vorn::Clock::Notifiee<&Rescans::handleClock> clock_;
   Vorn::NotifieeConst reactor_;
};

}  // namespace Agent
