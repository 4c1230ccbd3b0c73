#include "agent/Rescans.h"

#include <syslog.h>

#include <algorithm>
#include <utility>

#include "runtime/Vorn/Shortage.h"

namespace Agent {

Rescans::Rescans(Pelm::Ptr<StorageDevices::ConnectedDevicesSm> discovery, Notice notice)
    : discovery_{std::move(discovery)},
      notice_{std::move(notice)},
      clock_{*this, discovery_ ? Vorn::System::currentTime() + period : Vorn::Seconds::infinity()} {
   if (!discovery_)
      return;
   reactor_.notifierIs(discovery_);
   reactor_.on<&Rescans::handleRemoval>(discovery_->anonymousRemovalCount, *this);
   reactor_.on<&Rescans::handleUnclassified>(discovery_->unclassifiedDevice, *this);
   reactor_.hasNotificationActiveIs(true);
   for (auto const & [key, unclassified] : discovery_->unclassifiedDevice)
      handleUnclassified({{}, unclassified});
}

void Rescans::handleRemoval() {
   removalPending_ = true;
   rescanAfter(0);
}

void Rescans::handleUnclassified(Vorn::Change<StorageDevices::Unclassified> const & change) {
   if (!change.now) {
      notice_(LOG_INFO, change.old->device.str() + ": the shortage has ended");
      return;
   }
   notice_(LOG_ERR, change.now->device.str() + ": not classified: " + change.now->attempt.str() + ": " +
                        Vorn::errorAndRemedy(change.now->error));
   if (!change.old) {
      retryWait_ = shortestWait;
      rescanAfter(shortestWait);
   }
}

void Rescans::handleClock() {
   latest_ = Vorn::System::currentTime();
   Vorn::Seconds const wait = nextWait();
   clock_.timeMinIs(latest_ + wait);
   discovery_->rescan();
}

Vorn::Seconds Rescans::nextWait() {
   if (std::exchange(removalPending_, false))
      return shortestWait;
   if (discovery_->unclassifiedDevice.empty()) {
      retryWait_ = shortestWait;
      return period;
   }
   retryWait_ = std::min(retryWait_ * 2, period);
   return retryWait_;
}

void Rescans::rescanAfter(Vorn::Seconds wait) {
   Vorn::Seconds const time = std::max(Vorn::System::currentTime() + wait, latest_ + shortestWait);
   clock_.timeMinIs(std::min(clock_.timeMin(), time));
}

}  // namespace Agent
