// Waits until discovery has settled, for what sees the whole set of disks only once: DeviceDetectionSm and
// MountPtMonitorManagerSm.
#pragma once

#include <functional>
#include <utility>

#include "StorageDevices/ConnectedDevicesSm.h"
#include "StorageDevices/Export.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/Notifiee.h"
#include "runtime/Vorn/Seconds.h"

namespace StorageDevices {

class STORAGEDEVICES_API SettledStart {
 public:
   // How long a disk that is never identified may delay the start, framework time.
   static constexpr Vorn::Seconds patience = 60;

   // Calls `start` once, from the loop and never within a change. That is when the internal devices are ready
   // and none waits to be classified, at the latest after `patience`. Without discovery (null): after
   // `patience`. It is not called after the destruction of this. What it raises goes to the failure sink.
   SettledStart(Pelm::Ptr<ConnectedDevicesSm const> discovery, std::function<void()> start);

 private:
   void handleReady();
   void handleClock();

   Pelm::Ptr<ConnectedDevicesSm const> discovery_;
   std::function<void()> start_;
   Vorn::Clock::Notifiee<&SettledStart::handleClock> clock_;
   Vorn::NotifieeConst reactor_;
};

}  // namespace StorageDevices
