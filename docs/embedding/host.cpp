#include <iostream>

#include "StorageDevices/ApplianceTracker.h"
#include "StorageDevices/ConnectedDevicesSm.h"
#include "StorageDevices/Factories.h"
#include "runtime/host/Loop.h"

int main() {
   auto const devices = Pelm::make<StorageDevices::ConnectedDevices>();
   auto const discovery = StorageDevices::connectedDevicesSmFactory(Pelm::make<FruConfig>(), devices,
                                                                    StorageDevices::applianceTracker());
   auto const ready = [&] { return discovery->internalDevicesReady(); };
   bool const identified = Vorn::Host::runUntil(ready, Vorn::System::currentTime() + 60);
   for (auto const & [name, disk] : devices->disk)
      std::cout << name << " " << disk->model() << " " << disk->mountPoint() << "\n";
   return identified ? 0 : 1;
}
