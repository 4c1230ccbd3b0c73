// Discovery on a machine that is short of descriptors, processes or memory.
#include <gtest/gtest.h>

#include <cerrno>

#include "tests/support/DiscoveryTest.h"
#include "tests/support/SpawnFailure.h"
#include "tests/support/UdevFailure.h"

namespace {

using namespace StorageDevices::Simulation;
using StorageDevices::Unclassified;
using Support::ChangeRecorder;
using Serials = std::map<std::string, std::string>;

// Leaves too few descriptors for a device from the first disk on that comes.
class LimitAtChange {
 public:
   explicit LimitAtChange(StorageDevices::ConnectedDevices const & devices) {
      reactor_.notifierIs(Pelm::Ptr<Pelm::Node const>{&devices});
      reactor_.on<&LimitAtChange::handleDisk>(devices.disk, *this);
      reactor_.hasNotificationActiveIs(true);
   }

 private:
   void handleDisk() {
      if (!limit_)
         limit_.emplace(4U);
   }

   std::optional<Support::DescriptorLimit> limit_;
   Vorn::NotifieeConst reactor_;
};

class DiscoveryScarceMeansTest : public Support::DiscoveryTest {
 protected:
   DiscoveryScarceMeansTest() {
      unit_.blockdevIs({{".*/ata", "drive"}, {".*/usb1", "usb1"}});
      hdparmKnows("sda");
   }

   void hdparmKnows(char const * name) {
      unit_.tools().outputIs(Tool::hdparm, name, hdparmReport({name, "Kestrel", "Y", "KF1", 468862128}));
   }

   static Disk ssd() { return sataDisk("sda", 1, "X", "Kestrel", 468862128); }
   static Disk stick() { return usbDisk("sdb", "1-1", "STICK", "Flash", 31250000); }

   Unclassified unclassified(char const * name) const {
      return sm_->unclassifiedDevice(Pelm::String{unit_.sysPath(name)}).value_or(Unclassified{"none", "", 0});
   }
   void rescanAndSettle() {
      sm_->rescan();
      settle();
   }
};

TEST_F(DiscoveryScarceMeansTest, ReportsAPluggedDiskWithoutDescriptorsAndClassifiesItByTheRescan) {
   startAndSettle();
   ChangeRecorder const changes{sm_->unclassifiedDevice};
   unit_.plug(stick());
   {
      Support::DescriptorLimit const limit{4};
      handleEvents();
   }
   EXPECT_EQ(unclassified("sdb"), (Unclassified{"/dev/sdb", "it cannot be read", EMFILE}));
   ASSERT_EQ(traces_.errors().size(), 1U);
   EXPECT_TRUE(traces_.errors()[0].starts_with(" could not classify /dev/sdb: it cannot be read: "))
       << traces_.errors()[0];
   EXPECT_FALSE(has("STICK"));
   rescanAndSettle();
   EXPECT_TRUE(has("STICK"));
   EXPECT_TRUE(sm_->unclassifiedDevice.empty());
   EXPECT_EQ(changes.count(), 2U);
}

TEST_F(DiscoveryScarceMeansTest, ReportsADiskWithoutProcessesOnceAndClassifiesItByTheRescan) {
   unit_.add(ssd());
   unit_.add(stick());
   {
      Support::SpawnFailure const failure{EAGAIN};
      start();
      ChangeRecorder const changes{sm_->unclassifiedDevice};
      sm_->rescan();
      EXPECT_EQ(changes.count(), 0U) << "it is known already";
   }
   EXPECT_EQ(unclassified("sda"), (Unclassified{"/dev/sda", "expr cannot be started", EAGAIN}));
   EXPECT_EQ(unclassified("sdb"), (Unclassified{"/dev/sdb", "expr cannot be started", EAGAIN}));
   EXPECT_TRUE(isReady()) << "no collector runs";
   EXPECT_EQ(traces_.errors().size(), 2U);
   rescanAndSettle();
   EXPECT_EQ(serials(), (Serials{{"X", "Y"}, {"STICK", "STICK"}}));
   EXPECT_TRUE(sm_->unclassifiedDevice.empty());
}

TEST_F(DiscoveryScarceMeansTest, DoesNotTreatAMissingExprAsAShortage) {
   unit_.add(stick());
   {
      Support::SpawnFailure const failure{ENOENT};
      start();
   }
   EXPECT_TRUE(sm_->unclassifiedDevice.empty());
   EXPECT_EQ(traces_.count(2, " strange device /dev/sdb doesn't have an /etc/blockdev entry; skipping"), 1);
}

TEST_F(DiscoveryScarceMeansTest, ReportsADiskWhoseToolCannotBeStartedAndIdentifiesItByTheRescan) {
   unit_.add(ssd());
   {
      Support::SpawnFailure const failure{ENOMEM, "/hdparm"};
      startAndSettle();
      EXPECT_EQ(unclassified("sda"), (Unclassified{"/dev/sda", "its tool cannot be started", ENOMEM}));
      EXPECT_TRUE(disks().empty()) << "it would stay under the serial that is not its own";
      EXPECT_TRUE(isReady());
      ChangeRecorder const changes{sm_->unclassifiedDevice};
      rescanAndSettle();
      EXPECT_EQ(changes.count(), 0U);
   }
   rescanAndSettle();
   EXPECT_TRUE(sm_->unclassifiedDevice.empty());
   EXPECT_EQ(serials(), (Serials{{"X", "Y"}}));
}

TEST_F(DiscoveryScarceMeansTest, ReportsADiskThatCameBackElsewhereUnderItsNewPlaceAlone) {
   unit_.add(ssd());
   startAndSettle();
   std::string last = "sda";
   Support::SpawnFailure const failure{EAGAIN, "/hdparm"};
   for (unsigned port = 2; port < 8; ++port) {
      unit_.unplug(last);
      settle();
      last = std::string{"sd"} + static_cast<char>('a' + port);
      unit_.plug(sataDisk(last, port, "X", "Kestrel", 468862128));
      settle();
      EXPECT_EQ(sm_->unclassifiedDevice.size(), 1U) << last;
      EXPECT_EQ(unclassified(last.c_str()).error, EAGAIN) << last;
   }
}

TEST_F(DiscoveryScarceMeansTest, ForgetsAnUnclassifiedDiskThatTurnsOutToBeStrange) {
   unit_.blockdevIs({{".*/usb1", "usb1"}});
   unit_.add(ssd());
   {
      Support::SpawnFailure const failure{EAGAIN};
      start();
   }
   EXPECT_EQ(sm_->unclassifiedDevice.size(), 1U);
   rescanAndSettle();
   EXPECT_TRUE(sm_->unclassifiedDevice.empty());
   EXPECT_TRUE(disks().empty());
}

TEST_F(DiscoveryScarceMeansTest, KeepsAKnownDiskWhoseToolCannotBeStarted) {
   unit_.add(ssd());
   startAndSettle();
   ChangeRecorder const changes{devices_->disk};
   {
      Support::SpawnFailure const failure{EAGAIN, "/hdparm"};
      unit_.change("sda");
      settle();
   }
   EXPECT_EQ(unclassified("sda").error, EAGAIN);
   rescanAndSettle();
   EXPECT_TRUE(sm_->unclassifiedDevice.empty());
   EXPECT_EQ(changes.count(), 0U);
   EXPECT_EQ(unit_.tools().runs().size(), 2U);
}

TEST_F(DiscoveryScarceMeansTest, DoesNotTreatAMissingToolAsAShortage) {
   unit_.add(ssd());
   Support::SpawnFailure const failure{ENOENT, "/hdparm"};
   startAndSettle();
   EXPECT_TRUE(sm_->unclassifiedDevice.empty());
   EXPECT_EQ(serials(), (Serials{{"X", "X"}}));
}

TEST_F(DiscoveryScarceMeansTest, DoesNotRestartARunningCollectorOfAnUnclassifiedDisk) {
   unit_.tools().hangsIs(Tool::hdparm, "sda", true);
   unit_.add(ssd());
   {
      Support::SpawnFailure const failure{EAGAIN};
      start();
   }
   sm_->rescan();
   auto const collector = sm_->diskInfoCollectorSm("X");
   ASSERT_TRUE(collector);
   EXPECT_EQ(sm_->unclassifiedDevice.size(), 1U) << "until it is identified";
   sm_->rescan();
   EXPECT_EQ(sm_->diskInfoCollectorSm("X"), collector);
}

TEST_F(DiscoveryScarceMeansTest, ForgetsAnUnclassifiedDiskThatLeaves) {
   unit_.add(ssd());
   unit_.add(stick());
   {
      Support::SpawnFailure const failure{EAGAIN};
      start();
   }
   EXPECT_EQ(sm_->unclassifiedDevice.size(), 2U);
   unit_.unplug("sda");
   settle();
   EXPECT_EQ(sm_->unclassifiedDevice.size(), 1U);
   unit_.vanish("sdb");
   sm_->rescan();
   EXPECT_TRUE(sm_->unclassifiedDevice.empty());
}

TEST_F(DiscoveryScarceMeansTest, KeepsKnownDisksWhenTheRescanRunsOutOfDescriptors) {
   unit_.add(ssd());
   unit_.add(stick());
   startAndSettle();
   for (unsigned const room : {0U, 1U, 4U, 7U}) {
      Support::DescriptorLimit const limit{room};
      sm_->rescan();
      ASSERT_EQ(serials(), (Serials{{"X", "Y"}, {"STICK", "STICK"}})) << room;
   }
   rescanAndSettle();
   EXPECT_TRUE(sm_->unclassifiedDevice.empty());
   EXPECT_EQ(unit_.tools().runs().size(), 1U);
}

TEST_F(DiscoveryScarceMeansTest, KeepsAKnownDiskThatARescanCannotReadAndReadsItByTheNext) {
   unit_.add(ssd());
   unit_.add(stick());
   startAndSettle();
   unit_.add(usbDisk("sdc", "1-0", "FIRST", "Flash", 31250000));
   unit_.sectorsIs("sdb", 62500000);
   {
      LimitAtChange const limit{*devices_};
      sm_->rescan();
   }
   EXPECT_EQ(serials(), (Serials{{"X", "Y"}, {"STICK", "STICK"}, {"FIRST", "FIRST"}}));
   EXPECT_EQ(disk("STICK").sizeGb, 16U);
   EXPECT_TRUE(sm_->unclassifiedDevice.empty()) << "it stays classified";
   rescanAndSettle();
   EXPECT_EQ(disk("STICK").sizeGb, 32U);
}

TEST_F(DiscoveryScarceMeansTest, KeepsADiskThatCannotBeReadInItsNewPlaceUntilTheNextRescan) {
   unit_.add(stick());
   startAndSettle();
   unit_.vanish("sdb");
   unit_.add(usbDisk("sdc", "1-0", "FIRST", "Flash", 31250000));
   unit_.add(usbDisk("sdd", "1-2", "STICK", "Flash", 31250000));
   {
      LimitAtChange const limit{*devices_};
      sm_->rescan();
   }
   EXPECT_EQ(serials(), (Serials{{"STICK", "STICK"}, {"FIRST", "FIRST"}}));
   EXPECT_EQ(unclassified("sdd"), (Unclassified{"sdd", "it cannot be read", EMFILE}));
   rescanAndSettle();
   EXPECT_EQ(disk("STICK").blockDevice, "/dev/sdd");
   EXPECT_TRUE(sm_->unclassifiedDevice.empty());
}

TEST_F(DiscoveryScarceMeansTest, KeepsDisksOfAnEarlierRunWhileOneDeviceCannotBeReadForLackOfMemory) {
   Support::DiskFields{.name = "Y"}.writeTo(*devices_);
   devices_->udevSerialToSerialMapIs("X", "Y");
   unit_.add(ssd());
   {
      Support::UdevFailure const failure{ENOMEM, "/sda"};
      startAndSettle();
      EXPECT_TRUE(has("Y"));
      EXPECT_EQ(unclassified("sda"), (Unclassified{"sda", "it cannot be read", ENOMEM}));
      EXPECT_TRUE(isReady()) << "no collector runs";
   }
   rescanAndSettle();
   EXPECT_EQ(serials(), (Serials{{"X", "Y"}}));
   EXPECT_TRUE(sm_->unclassifiedDevice.empty());
   EXPECT_EQ(unit_.tools().runs().size(), 1U);
}

TEST_F(DiscoveryScarceMeansTest, DoesNotTreatADeviceThatIsGoneWhenItIsReadAsAShortage) {
   unit_.add(stick());
   Support::UdevFailure const failure{ENODEV, "/sdb"};
   devices_->udevSerialToSerialMapIs("X", "Y");
   start();
   EXPECT_TRUE(sm_->unclassifiedDevice.empty());
   EXPECT_TRUE(serials().empty());
}

TEST_F(DiscoveryScarceMeansTest, LeavesNothingUnclassifiedForADeviceForgottenBeforeItsToolStarts) {
   hdparmKnows("sdc");
   unit_.add(ssd());
   unit_.add(sataDisk("sdc", 3, "X", "Kestrel", 468862128));
   {
      Support::SpawnFailure const failure{EAGAIN, "/hdparm"};
      start();
      // Both are forgotten with the one that goes, and the other cannot be classified now.
      unit_.vanish("sda");
      Support::SpawnFailure const all{EAGAIN};
      sm_->rescan();
      settle();
   }
   rescanAndSettle();
   EXPECT_TRUE(sm_->unclassifiedDevice.empty());
   EXPECT_EQ(serials(), (Serials{{"X", "Y"}}));
   EXPECT_EQ(disk("Y").blockDevice, "/dev/sdc");
}

TEST_F(DiscoveryScarceMeansTest, NamesTheMissingMeansOfAStartWithoutDescriptors) {
   {
      Support::DescriptorLimit const limit{0};
      start();
   }
   ASSERT_TRUE(sm_->unclassifiedDevice("udev"));
   EXPECT_EQ(sm_->unclassifiedDevice("udev")->error, EMFILE);
   ASSERT_TRUE(sm_->unclassifiedDevice("blockdev"));
   rescanAndSettle();
   EXPECT_TRUE(sm_->unclassifiedDevice.empty());
}

TEST_F(DiscoveryScarceMeansTest, LeavesNothingUnclassifiedWhenUdevIsReleased) {
   unit_.add(stick());
   {
      Support::SpawnFailure const failure{EAGAIN};
      start();
   }
   ASSERT_EQ(sm_->unclassifiedDevice.size(), 1U);
   sm_->handleDeletion();
   EXPECT_TRUE(sm_->unclassifiedDevice.empty());
}

}  // namespace
