// Collectors in flight, and when the set of fixed disks is complete.
#include <gtest/gtest.h>

#include "tests/support/DiscoveryTest.h"

namespace {

using namespace StorageDevices::Simulation;
using Support::ChangeRecorder;

class DiscoveryCollectorsTest : public Support::DiscoveryTest {
 protected:
   DiscoveryCollectorsTest() { unit_.blockdevIs({{".*/usb1", "usb1"}, {".*", "drive"}}); }

   void addSsd() { unit_.add(sataDisk("sda", 1, "X", "Kestrel", 468862128)); }
   void addDrive() { unit_.add(nvmeDrive("nvme0n1", "NUDEV", "Marlin", 937703088)); }
   // At a place before and at one behind all others, in the order in which udev enumerates.
   static Disk chip(char const * name, char const * place) {
      auto disk = emmcDevice(name, "1501004b535452454c0a00000a1f5ac1", 61071360);
      disk.controller = place;
      disk.serial = name;
      return disk;
   }
   void hdparmSays(char const * serial) {
      unit_.tools().outputIs(Tool::hdparm, "sda",
                             hdparmReport({"sda", "Kestrel S2", serial, "KF1.2", 468862128}));
   }
   void hdparmHangs(bool hangs = true) { unit_.tools().hangsIs(Tool::hdparm, "sda", hangs); }
   bool nothingRuns() {
      return Support::turnInRealTime([&] { return tracker_->orphans() == 0; }) && !Support::hasChildren();
   }
};

TEST_F(DiscoveryCollectorsTest, IsReadyAfterTheScanWithoutDisks) {
   start();
   EXPECT_TRUE(isReady());
   EXPECT_EQ(traces_.texts(2).back(), " enumerating devices");
}

TEST_F(DiscoveryCollectorsTest, IsReadyAfterTheScanWhereNoDiskNeedsACollector) {
   unit_.add(usbDisk("sdb", "1-1", "0123ABCD", "Flash", 1000));
   start();
   EXPECT_TRUE(isReady());
   EXPECT_TRUE(has("0123ABCD"));
}

TEST_F(DiscoveryCollectorsTest, IsReadyOnlyWhenAllFixedDisksAreIdentified) {
   hdparmSays("Y");
   unit_.tools().hangsIs(Tool::nvmeList, "nvme0n1", true);
   addSsd();
   addDrive();
   start();
   EXPECT_FALSE(isReady());
   ASSERT_TRUE(Support::turnInRealTime([&] { return has("Y"); }));
   EXPECT_FALSE(isReady());
   EXPECT_EQ(sm_->diskInfoCollectorSm.size(), 1U);
   unit_.unplug("nvme0n1");
   settle();
   EXPECT_TRUE(isReady());
}

TEST_F(DiscoveryCollectorsTest, IsNotReadyForAnEmmcDeviceThatIsIdentifiedAtOnce) {
   hdparmHangs();
   unit_.add(chip("mmcblk0", "aaa"));
   addSsd();
   unit_.add(chip("mmcblk1", "zzz"));
   start();
   EXPECT_EQ(disks().size(), 1U) << "both chips have one register and so one name";
   EXPECT_EQ(serials().size(), 2U);
   EXPECT_FALSE(isReady());
}

TEST_F(DiscoveryCollectorsTest, IsNotReadyForARemovableDisk) {
   hdparmHangs();
   addSsd();
   start();
   unit_.plug(usbDisk("sdb", "1-1", "0123ABCD", "Flash", 1000));
   handleEvents();
   EXPECT_TRUE(has("0123ABCD"));
   EXPECT_FALSE(isReady());
}

TEST_F(DiscoveryCollectorsTest, PublishesReadinessOnceAndKeepsIt) {
   hdparmHangs();
   addSsd();
   start();
   ChangeRecorder const changes{sm_->internalDevicesReady};
   unit_.unplug("sda");
   settle();
   EXPECT_EQ(changes.count(), 1U);
   addSsd();
   unit_.announce("sda", "add");
   handleEvents();
   EXPECT_EQ(sm_->diskInfoCollectorSm.size(), 1U);
   EXPECT_TRUE(isReady());
   sm_->handleInternalDevicesReady();
   EXPECT_EQ(changes.count(), 1U);
}

TEST_F(DiscoveryCollectorsTest, DropsADiskPulledWhileItIsIdentifiedWithItsTool) {
   hdparmHangs();
   addSsd();
   start();
   ASSERT_TRUE(toolHasStarted());
   EXPECT_FALSE(has("X"));
   unit_.unplug("sda");
   handleEvents();
   EXPECT_TRUE(sm_->diskInfoCollectorSm.empty());
   EXPECT_TRUE(sm_->infoReactor.empty());
   EXPECT_TRUE(isReady());
   EXPECT_TRUE(disks().empty());
   EXPECT_TRUE(serials().empty());
   EXPECT_TRUE(nothingRuns());
}

TEST_F(DiscoveryCollectorsTest, RestartsTheCollectorAtAFurtherEventWhileADiskIsIdentified) {
   hdparmHangs();
   addSsd();
   start();
   ASSERT_TRUE(toolHasStarted());
   auto const first = sm_->diskInfoCollectorSm("X");
   unit_.change("sda");
   handleEvents();
   EXPECT_FALSE(sm_->diskInfoCollectorSm("X") == first);
   EXPECT_EQ(sm_->diskInfoCollectorSm.size(), 1U);
   EXPECT_FALSE(isReady());
   ASSERT_TRUE(toolHasStarted(2));
   hdparmHangs(false);
   hdparmSays("Y");
   unit_.change("sda");
   settle();
   EXPECT_EQ(unit_.tools().runs().size(), 3U);
   EXPECT_EQ(disks().size(), 1U);
   EXPECT_TRUE(has("Y"));
   EXPECT_TRUE(isReady());
   EXPECT_EQ(first->finalDisk(), nullptr);
}

TEST_F(DiscoveryCollectorsTest, EndsTheToolOfAReplacedCollector) {
   hdparmHangs();
   addSsd();
   start();
   ASSERT_TRUE(toolHasStarted());
   hdparmHangs(false);
   unit_.change("sda");
   settle();
   EXPECT_TRUE(nothingRuns());
}

TEST_F(DiscoveryCollectorsTest, InsertsADiskThatStopsNeedingACollectorWhileItIsIdentified) {
   hdparmHangs();
   addSsd();
   start();
   ASSERT_TRUE(toolHasStarted());
   unit_.attributeDel("sda", "queue/rotational");
   unit_.change("sda");
   handleEvents();
   EXPECT_EQ(disk("X").mibType, 0);
   EXPECT_TRUE(isReady());
   EXPECT_TRUE(nothingRuns());
}

TEST_F(DiscoveryCollectorsTest, RefusesToCompleteACollectorThatIsNotDone) {
   hdparmHangs();
   addSsd();
   start();
   sm_->handleInfoCollectorCompleted("X");
   sm_->handleInfoCollectorCompleted("unheard of");
   EXPECT_EQ(sm_->diskInfoCollectorSm.size(), 1U);
   EXPECT_TRUE(disks().empty());
   EXPECT_FALSE(isReady());
}

TEST_F(DiscoveryCollectorsTest, KeepsUdevsValuesForADiskWhoseToolFails) {
   addSsd();
   startAndSettle();
   EXPECT_EQ(disk("X").mibType, 2);
   EXPECT_EQ(disk("X").model, "Kestrel");
   EXPECT_EQ(
       traces_.errors(),
       std::vector<std::string>{"void StorageDevices::SsdDiskInfoCollectorSm::handleHdparm() hdparm failed"});
   EXPECT_TRUE(isReady());
}

TEST_F(DiscoveryCollectorsTest, LeavesNoChildAndNoDescriptorWhenDroppedWhileDisksAreIdentified) {
   Vorn::Host::turn(0);
   auto const before = Support::openDescriptors();
   hdparmHangs();
   unit_.tools().hangsIs(Tool::nvmeList, "nvme0n1", true);
   addSsd();
   addDrive();
   start();
   ASSERT_TRUE(toolHasStarted(2));
   EXPECT_TRUE(Support::hasChildren());
   unit_.change("sda");
   sm_ = nullptr;
   EXPECT_TRUE(nothingRuns());
   EXPECT_EQ(Support::openDescriptors(), before);
   EXPECT_TRUE(disks().empty());
   Vorn::Host::runFor(60);
   EXPECT_EQ(unit_.listeners(), 0U);
}

// Lets go of discovery when the first disk appears, from inside the change.
class Leaver {
 public:
   Leaver(StorageDevices::ConnectedDevices const & devices,
          Pelm::Ptr<StorageDevices::ConnectedDevicesSm> & discovery)
       : discovery_{discovery} {
      reactor_.notifierIs(Pelm::Ptr<Pelm::Node const>{&devices});
      reactor_.on<&Leaver::handleDisk>(devices.disk, *this);
      reactor_.hasNotificationActiveIs(true);
   }

 private:
   void handleDisk() { discovery_ = nullptr; }

   Pelm::Ptr<StorageDevices::ConnectedDevicesSm> & discovery_;
   Vorn::NotifieeConst reactor_;
};

TEST_F(DiscoveryCollectorsTest, AllowsAReactorToTheDiskItInsertsToDropIt) {
   hdparmSays("Y");
   addSsd();
   addDrive();
   start();
   Leaver const leaver{*devices_, sm_};
   EXPECT_TRUE(Support::turnInRealTime([&] { return !sm_; }));
   EXPECT_EQ(disks().size(), 1U);
   EXPECT_TRUE(nothingRuns());
}

}  // namespace
