// Discovery on a simulated unit, in virtual time and with fake tools.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "StorageDevices/ConnectedDevicesSm.h"
#include "StorageDevices/Factories.h"
#include "runtime/host/Failure.h"
#include "simulation/SimulatedUnit.h"
#include "tests/support/ChangeRecorder.h"
#include "tests/support/DiskFields.h"
#include "tests/support/ProcessState.h"
#include "tests/support/RealTime.h"
#include "tests/support/TraceRecorder.h"
#include "tests/support/VirtualTimeTest.h"

namespace Support {

class DiscoveryTest : public VirtualTimeTest {
 protected:
   DiscoveryTest() {
      Vorn::Host::failureSinkIs([](std::string_view machine, std::string_view what) {
         ADD_FAILURE() << machine << " raised: " << what;
      });
      fruConfig_->etcDirIs(unit_.etcFolder().string());
      tracker_->toolPathIs(unit_.toolsPath().string());
   }
   ~DiscoveryTest() override { Vorn::Host::failureSinkIs(nullptr); }

   void start() { sm_ = StorageDevices::connectedDevicesSmFactory(fruConfig_, devices_, tracker_); }
   // Handles the pending events without waiting for tools.
   static void handleEvents() {
      while (Vorn::Host::turn(0) == Vorn::Host::Turn::worked) {
      }
   }
   // Handles the pending events and waits for the tools that they started.
   void settle() {
      handleEvents();
      EXPECT_TRUE(turnInRealTime([this] { return sm_->diskInfoCollectorSm.empty(); }))
          << "a collector does not end";
      handleEvents();
   }
   void startAndSettle() {
      start();
      settle();
   }
   bool toolHasStarted(std::size_t runs = 1) {
      return turnInRealTime([&] { return unit_.tools().runs().size() >= runs; });
   }

   bool isReady() const { return sm_->internalDevicesReady(); }
   bool has(char const * name) const { return devices_->disk.contains(name); }
   DiskFields disk(char const * name) const {
      auto const found = devices_->disk(name);
      return found ? fieldsOf(*found) : DiskFields{.name = "(none)"};
   }
   std::map<std::string, DiskFields> disks() const {
      std::map<std::string, DiskFields> result;
      for (auto const & [name, record] : devices_->disk)
         result.emplace(name.str(), fieldsOf(*record));
      return result;
   }
   std::map<std::string, std::string> serials() const {
      std::map<std::string, std::string> result;
      for (auto const & [udevSerial, name] : devices_->udevSerialToSerialMap)
         result.emplace(udevSerial.str(), name.str());
      return result;
   }

   StorageDevices::Simulation::SimulatedUnit unit_;
   Pelm::Ptr<FruConfig> fruConfig_ = Pelm::make<FruConfig>();
   Pelm::Ptr<StorageDevices::ConnectedDevices> devices_ = Pelm::make<StorageDevices::ConnectedDevices>();
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker_ = Pelm::make<Brul::ChildProcessTrackerSm>();
   TraceRecorder traces_{{"StorageConnectedDevicesSm", 2}, {"StorageDiskInfoCollectorSm", 0}};
   Pelm::Ptr<StorageDevices::ConnectedDevicesSm> sm_;
};

}  // namespace Support
