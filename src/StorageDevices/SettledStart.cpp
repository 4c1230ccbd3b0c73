#include "StorageDevices/SettledStart.h"

namespace StorageDevices {

SettledStart::SettledStart(Pelm::Ptr<ConnectedDevicesSm const> discovery, std::function<void()> start)
    : discovery_{std::move(discovery)},
      start_{std::move(start)},
      clock_{*this, Vorn::System::currentTime() + patience} {
   if (!discovery_)
      return;
   reactor_.notifierIs(discovery_);
   reactor_.on<&SettledStart::handleReady>(discovery_->internalDevicesReady, *this);
   reactor_.on<&SettledStart::handleReady>(discovery_->unclassifiedDevice, *this);
   reactor_.hasNotificationActiveIs(true);
   handleReady();
}

void SettledStart::handleReady() {
   if (start_ && discovery_->internalDevicesReady() && discovery_->unclassifiedDevice.empty())
      clock_.timeMinIs(Vorn::System::currentTime());
}

void SettledStart::handleClock() {
   auto const start = std::exchange(start_, nullptr);
   if (start)
      start();
}

}  // namespace StorageDevices
