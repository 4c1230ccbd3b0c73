// In which order discovery writes what it publishes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/DiscoveryTest.h"

namespace {

using namespace StorageDevices::Simulation;
using Texts = std::vector<std::string>;

class DiscoveryOrderTest : public Support::DiscoveryTest {
 protected:
   DiscoveryOrderTest() { unit_.blockdevIs({{".*/ata", "drive"}, {".*/usb1", "usb1"}}); }

   ~DiscoveryOrderTest() override {
      devicesReactor_.notifierIs(nullptr);
      readinessReactor_.notifierIs(nullptr);
   }

   void record() {
      devicesReactor_.notifierIs(devices_);
      devicesReactor_.on<&DiscoveryOrderTest::handleMapEntry>(devices_->udevSerialToSerialMap, *this);
      devicesReactor_.on<&DiscoveryOrderTest::handleDisk>(devices_->disk, *this);
      devicesReactor_.hasNotificationActiveIs(true);
      readinessReactor_.notifierIs(sm_);
      readinessReactor_.on<&DiscoveryOrderTest::handleReadiness>(sm_->internalDevicesReady, *this);
      readinessReactor_.hasNotificationActiveIs(true);
   }

   static Disk stick() { return usbDisk("sdb", "1-1", "0123ABCD", "Flash", 31250000); }
   static Disk ssd() { return sataDisk("sda", 1, "UDEV1", "Kestrel", 468862128); }

   Texts order_;

 private:
   void handleMapEntry(Vorn::Change<Pelm::String> const & change) {
      order_.emplace_back(change.now ? "entry added" : "entry deleted");
   }
   void handleDisk(Vorn::Change<Pelm::Ptr<StorageDevices::ConnectedDisk>> const & change) {
      order_.emplace_back(change.now ? "disk added" : "disk deleted");
   }
   void handleReadiness() { order_.emplace_back("ready"); }

   Vorn::NotifieeConst devicesReactor_;
   Vorn::NotifieeConst readinessReactor_;
};

TEST_F(DiscoveryOrderTest, WritesAndDeletesADisksMapEntryBeforeTheDisk) {
   startAndSettle();
   record();
   unit_.plug(stick());
   handleEvents();
   EXPECT_EQ(order_, (Texts{"entry added", "disk added"}));
   order_.clear();
   unit_.unplug("sdb");
   handleEvents();
   EXPECT_EQ(order_, (Texts{"entry deleted", "disk deleted"}));
}

TEST_F(DiscoveryOrderTest, IsReadyBeforeThePulledDiskIsDeleted) {
   // Known from before a restart, and identified again.
   devices_->udevSerialToSerialMapIs("UDEV1", "SN1");
   devices_->diskIs("SN1", 2, "/dev/sda", "/mnt/drive", "Kestrel", "1", false, 1, "1", 240);
   unit_.tools().hangsIs(Tool::hdparm, "sda", true);
   unit_.add(ssd());
   start();
   ASSERT_TRUE(toolHasStarted());
   ASSERT_FALSE(isReady());
   record();
   unit_.unplug("sda");
   handleEvents();
   EXPECT_EQ(order_, (Texts{"ready", "entry deleted", "disk deleted"}));
}

TEST_F(DiscoveryOrderTest, InsertsAnIdentifiedDiskBeforeTheUnitIsReady) {
   unit_.add(ssd());
   start();
   ASSERT_FALSE(isReady());
   record();
   settle();
   EXPECT_EQ(order_, (Texts{"entry added", "disk added", "ready"}));
}

}  // namespace
