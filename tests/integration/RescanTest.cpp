// Rescans after disks went, came or changed without an event.
#include <gtest/gtest.h>

#include "StorageDevices/DeviceDetectionSm.h"
#include "tests/support/DiscoveryTest.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/TempDir.h"

namespace {

using namespace StorageDevices::Simulation;
using Support::ChangeRecorder;
using Support::DiskFields;
using Serials = std::map<std::string, std::string>;
using Texts = std::vector<std::string>;

class RescanTest : public Support::DiscoveryTest {
 protected:
   RescanTest() {
      unit_.blockdevIs({{".*/ata", "drive"}, {".*/nvme", "drive2"}, {".*/usb1", "usb1"}});
      hdparmSays("Y");
   }

   static Disk ssd() { return sataDisk("sda", 1, "X", "Kestrel", 468862128); }
   static Disk stick(char const * serial = "STICK", char const * name = "sdb", char const * port = "1-1") {
      return usbDisk(name, port, serial, "Flash", 31250000);
   }
   void hdparmSays(char const * serial) {
      unit_.tools().outputIs(Tool::hdparm, "sda",
                             hdparmReport({"sda", "Kestrel S2", serial, "KF1", 468862128}));
   }
   // As udev answers a pull in the middle of writing.
   void pullWithoutSerial(char const * name) {
      for (char const * property : {"ID_SERIAL", "ID_SERIAL_SHORT"})
         unit_.propertyIs(name, property, "");
      unit_.announce(name, "change");
      unit_.announce(name, "remove");
      unit_.vanish(name);
      handleEvents();
   }
   void rescanAndSettle() {
      sm_->rescan();
      settle();
   }
   // Counts the runs of expr from here on.
   void countExpr() {
      folder_.writeScript("expr", "echo run >>\"" + folder_.string() + "/runs\"\nexec /usr/bin/expr \"$@\"");
      path_.emplace("PATH", folder_.string() + ":/usr/bin:/bin");
   }
   std::size_t exprRuns() const { return folder_.content("runs").size() / 4; }
   // As one whose tool fails after it was identified once: recorded as X, and as Y before.
   void knownByTwoNames() {
      unit_.add(ssd());
      startAndSettle();
      detect();
      logs_.clear();
      unit_.tools().exitCodeIs(Tool::hdparm, "sda", 5);
      unit_.change("sda");
      settle();
   }
   void detect() {
      fruConfig_->mountSourceDirIs(folder_.string());
      detection_ = StorageDevices::deviceDetectionSmFactory(fruConfig_, devices_);
   }

   Support::TempDir folder_;
   std::optional<Support::EnvironmentSetting> path_;
   Support::LogRecorder logs_;
   Pelm::Ptr<StorageDevices::DeviceDetectionSm> detection_;
};

TEST_F(RescanTest, OnlyCountsARemovalWithoutASerial) {
   unit_.add(stick());
   startAndSettle();
   ChangeRecorder const counts{sm_->anonymousRemovalCount};
   EXPECT_EQ(sm_->anonymousRemovalCount(), 0U);
   pullWithoutSerial("sdb");
   EXPECT_EQ(sm_->anonymousRemovalCount(), 1U);
   EXPECT_EQ(counts.count(), 1U);
   EXPECT_TRUE(has("STICK"));
}

TEST_F(RescanTest, DoesNotCountARemovalWithASerial) {
   unit_.add(stick());
   startAndSettle();
   unit_.unplug("sdb");
   settle();
   EXPECT_EQ(sm_->anonymousRemovalCount(), 0U);
}

TEST_F(RescanTest, DeletesAFixedDiskThatIsGoneAndLogsItOnce) {
   unit_.add(ssd());
   startAndSettle();
   detect();
   logs_.clear();
   pullWithoutSerial("sda");
   EXPECT_TRUE(has("Y"));
   sm_->rescan();
   EXPECT_TRUE(disks().empty());
   EXPECT_TRUE(serials().empty());
   rescanAndSettle();
   EXPECT_EQ(logs_.texts(), Texts{"A removal event occurred unexpectedly for internal storage device Y"});
   EXPECT_EQ(unit_.tools().runs().size(), 1U);
}

TEST_F(RescanTest, DeletesARemovableDiskThatIsGoneWithoutAMessage) {
   unit_.add(stick());
   startAndSettle();
   detect();
   logs_.clear();
   pullWithoutSerial("sdb");
   sm_->rescan();
   EXPECT_TRUE(disks().empty());
   EXPECT_TRUE(logs_.texts().empty());
}

TEST_F(RescanTest, DropsADiskThatIsGoneWhileItIsIdentifiedWithItsTool) {
   unit_.tools().hangsIs(Tool::hdparm, "sda", true);
   unit_.add(ssd());
   start();
   ASSERT_TRUE(toolHasStarted());
   pullWithoutSerial("sda");
   EXPECT_EQ(sm_->diskInfoCollectorSm.size(), 1U);
   EXPECT_FALSE(isReady());
   sm_->rescan();
   EXPECT_TRUE(sm_->diskInfoCollectorSm.empty());
   EXPECT_TRUE(sm_->infoReactor.empty());
   EXPECT_TRUE(isReady());
   EXPECT_TRUE(disks().empty());
   EXPECT_TRUE(Support::turnInRealTime([&] { return tracker_->orphans() == 0; }));
}

TEST_F(RescanTest, DeletesTwoDisksThatGoInARow) {
   unit_.add(ssd());
   unit_.add(stick());
   startAndSettle();
   detect();
   logs_.clear();
   pullWithoutSerial("sda");
   pullWithoutSerial("sdb");
   EXPECT_EQ(sm_->anonymousRemovalCount(), 2U);
   rescanAndSettle();
   EXPECT_TRUE(disks().empty());
   EXPECT_EQ(logs_.texts().size(), 1U);
}

TEST_F(RescanTest, RunsAndWritesNothingWithoutAChange) {
   auto strange = otherDisk("vda", "virtual", 1);
   strange.serial = "strange";
   unit_.multidriveIs({".*/ata2/"});
   for (auto const & disk :
        {ssd(), sataDisk("sde", 2, "inactive", "Kestrel", 1000), stick(), stick("TWICE", "sdc", "1-2"),
         stick("TWICE", "sdd", "1-3"), strange, otherDisk("vdb", "virtual", 1)})
      unit_.add(disk);
   startAndSettle();
   auto const runs = unit_.tools().runs().size();
   countExpr();
   ChangeRecorder const disks{devices_->disk};
   ChangeRecorder const map{devices_->udevSerialToSerialMap};
   ChangeRecorder const collectors{sm_->diskInfoCollectorSm};
   traces_.clear();
   for (int i = 0; i < 3; ++i)
      rescanAndSettle();
   EXPECT_EQ(exprRuns(), 0U);
   EXPECT_EQ(unit_.tools().runs().size(), runs);
   EXPECT_EQ(disks.count() + map.count() + collectors.count(), 0U);
   EXPECT_EQ(traces_.texts(2), Texts(3, " enumerating devices"));
   EXPECT_TRUE(traces_.errors().empty());
}

TEST_F(RescanTest, FindsAnUnseenDiskByTheRulesOfEveryNewOne) {
   startAndSettle();
   unit_.add(ssd());
   unit_.add(stick());
   auto strange = otherDisk("vda", "virtual", 1);
   strange.serial = "strange";
   unit_.add(strange);
   countExpr();
   rescanAndSettle();
   EXPECT_EQ(serials(), (Serials{{"X", "Y"}, {"STICK", "STICK"}}));
   EXPECT_EQ(unit_.tools().runs(), Texts{"hdparm -I /dev/sda"});
   EXPECT_EQ(traces_.count(2, " strange device /dev/vda doesn't have an /etc/blockdev entry; skipping"), 1);
   EXPECT_EQ(exprRuns(), 1U + 3U + 3U);
}

TEST_F(RescanTest, ReadsADiskThatChangedUnseenAgain) {
   unit_.add(ssd());
   unit_.add(stick());
   startAndSettle();
   unit_.sectorsIs("sdb", 62500000);
   unit_.sectorsIs("sda", 937703088);
   rescanAndSettle();
   EXPECT_EQ(disk("STICK").sizeGb, 32U);
   EXPECT_EQ(unit_.tools().runs().size(), 2U) << "a changed fixed disk is identified again";
}

TEST_F(RescanTest, ReplacesADiskThatWentUnseenByTheOneInItsPlace) {
   unit_.add(stick("OLD"));
   startAndSettle();
   unit_.vanish("sdb");
   unit_.add(stick("NEW"));
   rescanAndSettle();
   EXPECT_EQ(serials(), (Serials{{"NEW", "NEW"}}));
   EXPECT_EQ(disks().size(), 1U);
}

TEST_F(RescanTest, DoesNotRestartARunningCollector) {
   unit_.tools().hangsIs(Tool::hdparm, "sda", true);
   unit_.add(ssd());
   start();
   ASSERT_TRUE(toolHasStarted());
   auto const collector = sm_->diskInfoCollectorSm("X");
   for (int i = 0; i < 3; ++i)
      sm_->rescan();
   EXPECT_EQ(sm_->diskInfoCollectorSm("X"), collector);
   EXPECT_EQ(unit_.tools().runs().size(), 1U);
   EXPECT_FALSE(isReady());
}

TEST_F(RescanTest, KeepsAConnectedDiskWhoseSerialUdevHasForgotten) {
   unit_.add(ssd());
   startAndSettle();
   detect();
   logs_.clear();
   for (char const * property : {"ID_SERIAL", "ID_SERIAL_SHORT"})
      unit_.propertyIs("sda", property, "");
   rescanAndSettle();
   EXPECT_TRUE(has("Y"));
   EXPECT_TRUE(logs_.texts().empty());
   unit_.vanish("sda");
   rescanAndSettle();
   EXPECT_TRUE(disks().empty());
   EXPECT_EQ(logs_.texts().size(), 1U);
}

TEST_F(RescanTest, KeepsTheRecordUnderAFormerNameWhenTheDiskIsGone) {
   knownByTwoNames();
   rescanAndSettle();
   EXPECT_TRUE(has("X") && has("Y"));
   EXPECT_TRUE(logs_.texts().empty()) << "nothing was removed";
   pullWithoutSerial("sda");
   rescanAndSettle();
   EXPECT_TRUE(has("Y"));
   EXPECT_EQ(disks().size(), 1U);
   EXPECT_EQ(logs_.texts(), Texts{"A removal event occurred unexpectedly for internal storage device X"});
}

TEST_F(RescanTest, KeepsTheRecordUnderAFormerNameAfterARemovalThatNamesTheDisk) {
   knownByTwoNames();
   unit_.unplug("sda");
   settle();
   rescanAndSettle();
   EXPECT_TRUE(has("Y"));
   EXPECT_EQ(disks().size(), 1U);
   EXPECT_EQ(logs_.texts(), Texts{"A removal event occurred unexpectedly for internal storage device X"});
}

TEST_F(RescanTest, KeepsAFormerNameThatIsAnotherDisksNow) {
   knownByTwoNames();
   unit_.unplug("sda");
   settle();
   unit_.tools().exitCodeIs(Tool::hdparm, "sda", 0);
   unit_.plug(sataDisk("sda", 1, "OTHER", "Kestrel", 468862128));
   settle();
   ASSERT_EQ(serials(), (Serials{{"OTHER", "Y"}}));
   rescanAndSettle();
   EXPECT_TRUE(has("Y"));
}

TEST_F(RescanTest, DeletesARegainedNameWithTheDisk) {
   unit_.add(ssd());
   startAndSettle();
   for (char const * const serial : {"Z", "Y"}) {
      hdparmSays(serial);
      unit_.change("sda");
      settle();
   }
   unit_.vanish("sda");
   unit_.add(stick());
   sm_->rescan();
   EXPECT_EQ(serials(), (Serials{{"STICK", "STICK"}}));
   EXPECT_FALSE(has("Y"));
   EXPECT_TRUE(has("Z") && has("STICK"));
}

TEST_F(RescanTest, KeepsTheRemainingOneOfTwoDisksOfOneSerial) {
   unit_.add(stick("SAME", "sdb", "1-1"));
   unit_.add(stick("SAME", "sdc", "1-2"));
   startAndSettle();
   std::string const last = disk("SAME").blockDevice.substr(5);
   std::string const other = last == "sdb" ? "sdc" : "sdb";
   unit_.vanish(last);
   rescanAndSettle();
   EXPECT_EQ(disk("SAME").blockDevice, "/dev/" + other);
}

// Rescans whenever a disk comes or goes.
class Rescanner {
 public:
   Rescanner(StorageDevices::ConnectedDevices const & devices, std::function<void()> rescan)
       : rescan_{std::move(rescan)} {
      reactor_.notifierIs(Pelm::Ptr<Pelm::Node const>{&devices});
      reactor_.on<&Rescanner::handleDisk>(devices.disk, *this);
      reactor_.hasNotificationActiveIs(true);
   }

 private:
   void handleDisk() { rescan_(); }

   std::function<void()> rescan_;
   Vorn::NotifieeConst reactor_;
};

TEST_F(RescanTest, RunsOnceAfterAScanWhenRequestedDuringIt) {
   startAndSettle();
   for (char const * const name : {"sdb", "sdc", "sdd"})
      unit_.add(stick(name, name, (std::string{"1-"} + name[2]).c_str()));
   int calls = 0;
   Rescanner const rescanner{*devices_, [&] {
                                // Gone before the scan comes to its end.
                                if (++calls == 1)
                                   unit_.vanish(disks().begin()->first);
                                sm_->rescan();
                             }};
   traces_.clear();
   sm_->rescan();
   EXPECT_EQ(traces_.count(2, " enumerating devices"), 2);
   EXPECT_EQ(calls, 4);
   EXPECT_EQ(disks().size(), 2U);
   EXPECT_TRUE(isReady());
}

TEST_F(RescanTest, AllowsAReactorToTheDiskItFindsToDropIt) {
   startAndSettle();
   unit_.add(stick());
   unit_.add(stick("OTHER", "sdc", "1-2"));
   Rescanner const dropper{*devices_, [&] { sm_ = nullptr; }};
   sm_->rescan();
   EXPECT_FALSE(sm_);
   EXPECT_EQ(disks().size(), 2U);
}

TEST_F(RescanTest, ChangesNothingWhenTheEnumerationFails) {
   unit_.add(ssd());
   unit_.add(stick());
   startAndSettle();
   auto const before = disks();
   unit_.vanish("sdb");
   unit_.add(stick("NEW", "sdc", "1-2"));
   {
      Support::DescriptorLimit const limit{0};
      sm_->rescan();
   }
   EXPECT_EQ(disks(), before);
   EXPECT_EQ(traces_.errors(), Texts{"  Unable to obtain initial device set."});
   rescanAndSettle();
   EXPECT_EQ(serials(), (Serials{{"X", "Y"}, {"NEW", "NEW"}}));
   unit_.plug(stick("LATER", "sde", "1-4"));
   settle();
   EXPECT_TRUE(has("LATER")) << "events are followed as before";
}

TEST_F(RescanTest, RepeatsAFailedStartAsAWhole) {
   unit_.add(stick());
   {
      Support::DescriptorLimit const limit{0};
      start();
   }
   EXPECT_EQ(traces_.errors().size(), 2U);
   EXPECT_TRUE(sm_->etcBlockDev().empty());
   rescanAndSettle();
   EXPECT_EQ(sm_->etcBlockDev().size(), 3U);
   EXPECT_TRUE(has("STICK"));
   EXPECT_TRUE(isReady());
   unit_.unplug("sdb");
   settle();
   EXPECT_TRUE(disks().empty());
}

TEST_F(RescanTest, DoesNothingBeforeTheStartAndAfterTheEnd) {
   unit_.add(stick());
   sm_ = Pelm::make<StorageDevices::ConnectedDevicesSm>(fruConfig_, devices_, tracker_);
   sm_->rescan();
   EXPECT_TRUE(disks().empty());
   startAndSettle();
   sm_->handleDeletion();
   unit_.vanish("sdb");
   sm_->rescan();
   EXPECT_TRUE(has("STICK"));
}

}  // namespace
