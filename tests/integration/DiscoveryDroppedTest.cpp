// Discovery that a subscriber drops while the host calls it: the call ends as without the drop.
#include <gtest/gtest.h>

#include "StorageDevices/SsdDiskInfoCollectorSm.h"
#include "tests/support/DiscoveryTest.h"
#include "tests/support/UdevDevices.h"

namespace {

using namespace StorageDevices::Simulation;
using StorageDevices::UdevDevicePtr;
using Support::DiskFields;
using Serials = std::map<std::string, std::string>;

class DiscoveryDroppedTest : public Support::DiscoveryTest {
 protected:
   DiscoveryDroppedTest() {
      unit_.blockdevIs({{".*/usb1", "usb1"}});
      startAndSettle();
   }
   ~DiscoveryDroppedTest() override { reactor_.notifierIs(nullptr); }

   static Disk stick() { return usbDisk("sdb", "1-1", "STICK", "Flash", 31250000); }
   UdevDevicePtr added(Disk const & disk) {
      unit_.add(disk);
      return udev_.device(unit_.sysPath(disk.name));
   }
   // The device of an event, as a host that listens itself receives it.
   UdevDevicePtr plugged(Disk const & disk) {
      StorageDevices::UdevPtr const context{udev_new()};
      auto const monitor = StorageDevices::openDiskMonitor(context.get());
      unit_.plug(disk);
      UdevDevicePtr device;
      Support::turnInRealTime([&] {
         if (!device)
            device.reset(udev_monitor_receive_device(monitor.get()));
         return device != nullptr;
      });
      return device;
   }
   Pelm::Ptr<StorageDevices::DiskInfoCollectorSm> collector() const {
      return StorageDevices::SsdDiskInfoCollectorSmIs(DiskFields{.name = "X"}.make(), tracker_);
   }
   // Drops discovery at the next change of the cell.
   template <class Cell>
   void dropAtChange(Cell const & cell) {
      reactor_.notifierIs(Pelm::Ptr<Pelm::Node const>{&cell.owner()});
      reactor_.on<&DiscoveryDroppedTest::handleChange>(cell, *this);
      reactor_.hasNotificationActiveIs(true);
   }

   Support::UdevDevices udev_;

 private:
   void handleChange() {
      reactor_.notifierIs(nullptr);
      sm_ = nullptr;
   }

   Vorn::NotifieeConst reactor_;
};

TEST_F(DiscoveryDroppedTest, RecordsTheDiskOfAnAddition) {
   auto const device = added(stick());
   dropAtChange(devices_->udevSerialToSerialMap);
   sm_->handleAddEvent(device.get());
   EXPECT_FALSE(sm_);
   EXPECT_TRUE(has("STICK"));
}

TEST_F(DiscoveryDroppedTest, DeletesTheDiskOfARemoval) {
   auto const device = added(stick());
   sm_->handleAddEvent(device.get());
   ASSERT_TRUE(has("STICK"));
   dropAtChange(devices_->udevSerialToSerialMap);
   sm_->handleRemoveEvent(device.get());
   EXPECT_FALSE(sm_);
   EXPECT_TRUE(disks().empty());
}

TEST_F(DiscoveryDroppedTest, RecordsTheDiskOfAnEvent) {
   auto const device = plugged(stick());
   ASSERT_TRUE(device);
   dropAtChange(devices_->udevSerialToSerialMap);
   sm_->handleDisk(device.get());
   EXPECT_FALSE(sm_);
   EXPECT_TRUE(has("STICK"));
}

TEST_F(DiscoveryDroppedTest, RecordsTheDiskOfADirectInsertion) {
   dropAtChange(devices_->udevSerialToSerialMap);
   sm_->maybeInsertDisk("X", DiskFields{.name = "Y"}.make());
   EXPECT_FALSE(sm_);
   EXPECT_EQ(serials(), (Serials{{"X", "Y"}}));
   EXPECT_TRUE(has("Y"));
}

TEST_F(DiscoveryDroppedTest, RecordsTheDiskOfACompletedCollector) {
   auto const completed = collector();
   sm_->diskInfoCollectorSmIs("X", completed);
   sm_->infoReactorDel("X");
   completed->finalizeUnchanged();
   dropAtChange(devices_->udevSerialToSerialMap);
   sm_->handleInfoCollectorCompleted("X");
   EXPECT_FALSE(sm_);
   EXPECT_TRUE(has("X"));
}

TEST_F(DiscoveryDroppedTest, EndsTheCollectorThatWasJustAdded) {
   dropAtChange(sm_->diskInfoCollectorSm);
   sm_->diskInfoCollectorSmIs("X", collector());
   EXPECT_FALSE(sm_);
   EXPECT_TRUE(Support::turnInRealTime([&] { return tracker_->orphans() == 0; }));
   EXPECT_FALSE(Support::hasChildren());
   EXPECT_TRUE(disks().empty());
}

TEST_F(DiscoveryDroppedTest, EndsTheCollectorThatIsDeleted) {
   sm_->diskInfoCollectorSmIs("X", collector());
   dropAtChange(sm_->infoReactor);
   sm_->diskInfoCollectorSmDel("X");
   EXPECT_FALSE(sm_);
   EXPECT_TRUE(Support::turnInRealTime([&] { return tracker_->orphans() == 0; }));
   EXPECT_FALSE(Support::hasChildren());
}

TEST_F(DiscoveryDroppedTest, EndsAllCollectorsThatAreDeleted) {
   sm_->diskInfoCollectorSmIs("X", collector());
   dropAtChange(sm_->infoReactor);
   sm_->diskInfoCollectorSmDelAll();
   EXPECT_FALSE(sm_);
   EXPECT_TRUE(Support::turnInRealTime([&] { return tracker_->orphans() == 0; }));
   EXPECT_FALSE(Support::hasChildren());
}

}  // namespace
