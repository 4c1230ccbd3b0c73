#include "StorageDevices/MountPtMonitorSm.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "StorageDevices/Factories.h"
#include "tests/StorageDevices/FakeMounts.h"
#include "tests/support/DiskFields.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/MountPoint.h"
#include "tests/support/TraceRecorder.h"
#include "tests/support/Units.h"
#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {

namespace {

using Texts = std::vector<std::string>;

class MountPtMonitorSmTest : public Support::VirtualTimeTest {
 protected:
   MountPtMonitorSmTest() {
      Support::DiskFields{.name = "S1", .mountPoint = folder_.string()}.writeTo(*devices_);
   }

   void start() {
      monitor_ = mountPtMonitorSmFactory(folder_.string().c_str(), helper_, devices_);
      Vorn::Host::turn();
   }
   Texts errors() const {
      Texts result;
      for (auto const & message : logs_.messages())
         if (message.arguments[0] == "mountPtCheck")
            result.push_back(message.arguments.back());
      return result;
   }
   bool testing() const { return monitor_->fsHealthSm() && monitor_->fsHealthSm()->running(); }

   Support::TempDir folder_{Support::folderWithDirectIo()};
   Support::LogRecorder logs_;
   Support::TraceRecorder traces_{{"StorageMountPtMonitorSm", 7}};
   Pelm::Ptr<ConnectedDevices> devices_ = Pelm::make<ConnectedDevices>();
   Pelm::Ptr<FakeMounts> helper_ = Pelm::make<FakeMounts>();
   Pelm::Ptr<MountPtMonitorSm> monitor_;
};

TEST_F(MountPtMonitorSmTest, StartsTheHealthTestAtOnceWithTheDevicesBlockSize) {
   start();
   ASSERT_TRUE(testing());
   EXPECT_EQ(monitor_->fsHealthSm()->blkSize(), 4096U);
   EXPECT_EQ(monitor_->fsHealthSm()->mntPt(), folder_.string());
   EXPECT_EQ(monitor_->mountPtDevice(), "/dev/sda1");
   EXPECT_EQ(monitor_->mountPtDeviceBlkSize(), 4096U);
   EXPECT_EQ(monitor_->initialMountFailuresRemaining(), 0U);
   EXPECT_EQ(helper_->asked, Texts{folder_.string()});
   Vorn::Host::runFor(899);
   EXPECT_EQ(helper_->asked.size(), 3U);
   EXPECT_TRUE(logs_.messages().empty());
}

TEST_F(MountPtMonitorSmTest, ChecksAgainAfterAnAnswerThatRaised) {
   helper_->raises = true;
   start();
   EXPECT_FALSE(testing());
   helper_->raises = false;
   Vorn::Host::runFor(61);
   EXPECT_TRUE(testing());
   EXPECT_EQ(helper_->asked.size(), 2U);
}

TEST_F(MountPtMonitorSmTest, StopsTheHealthTestAtTheNextCheckWhenAMessageRaised) {
   start();
   ASSERT_TRUE(testing());
   helper_->answer.mounted = false;
   logs_.raises = true;
   Vorn::Host::runFor(300);
   logs_.raises = false;
   Vorn::Host::runFor(61);
   EXPECT_EQ(errors(), Texts{"not mounted"});
   EXPECT_FALSE(testing());
}

TEST_F(MountPtMonitorSmTest, LetsTheHealthTestRunWhileTheMountIsGood) {
   start();
   Pelm::Ptr<FsHealthSm> const test = monitor_->fsHealthSm();
   Vorn::Host::runFor(700);
   EXPECT_TRUE(test->readTestOk());
   EXPECT_EQ(monitor_->fsHealthSm(), test);
}

TEST_F(MountPtMonitorSmTest, AllowsTwelveChecksUntilTheFirstMount) {
   helper_->answer.mounted = false;
   start();
   Vorn::Host::runFor(11 * 300);
   Texts expected;
   for (int left = 11; left >= 0; --left)
      expected.push_back("void StorageDevices::MountPtMonitorSm::handleTestClock()" + folder_.string() +
                         ", was not initialy mounted. " + std::to_string(left) + " tries remaining");
   EXPECT_EQ(traces_.texts(7), expected);
   EXPECT_TRUE(errors().empty());
   Vorn::Host::runFor(300);
   EXPECT_EQ(errors(), Texts{"not mounted"});
   EXPECT_EQ(helper_->asked.size(), 13U);
   Vorn::Host::runFor(day - 1);
   EXPECT_EQ(helper_->asked.size(), 13U);
   Vorn::Host::runFor(2);
   EXPECT_EQ(errors().size(), 2U);
}

TEST_F(MountPtMonitorSmTest, AcceptsAMountWithinTheGracePeriod) {
   helper_->answer.mounted = false;
   start();
   Vorn::Host::runFor(3 * 300 + 1);
   helper_->answer.mounted = true;
   Vorn::Host::runFor(300);
   EXPECT_TRUE(testing());
   helper_->answer.mounted = false;
   Vorn::Host::runFor(300);
   EXPECT_EQ(errors(), Texts{"not mounted"}) << "the grace ends with the first mount";
   EXPECT_FALSE(testing());
}

TEST_F(MountPtMonitorSmTest, LogsAReadOnlyMountAndRemembersItsDevice) {
   helper_->answer.readOnly = true;
   start();
   EXPECT_EQ(errors(), Texts{"mount point is read-only"});
   EXPECT_EQ(monitor_->mountPtDevice(), "/dev/sda1");
   EXPECT_EQ(monitor_->mountPtDeviceBlkSize(), 4096U);
   EXPECT_FALSE(monitor_->fsHealthSm());
   helper_->answer.readOnly = false;
   Vorn::Host::runFor(day + 1);
   EXPECT_TRUE(testing());
}

TEST_F(MountPtMonitorSmTest, LogsAnUnknownBlockSizeBeforeItRemembersAnything) {
   helper_->answer.blkSize = 0;
   helper_->answer.readOnly = true;
   start();
   EXPECT_EQ(errors(), Texts{"failed to determine device blockSize"});
   EXPECT_TRUE(monitor_->mountPtDevice().empty());
   EXPECT_EQ(monitor_->initialMountFailuresRemaining(), 0U);
}

TEST_F(MountPtMonitorSmTest, LogsAnotherDeviceEveryDayUntilTheFirstIsBack) {
   start();
   helper_->answer.device = "/dev/sdb1";
   Vorn::Host::runFor(300);
   EXPECT_EQ(errors(), Texts{"device was disconnected and changed"});
   EXPECT_FALSE(testing());
   EXPECT_EQ(monitor_->mountPtDevice(), "/dev/sda1");
   Vorn::Host::runFor(day);
   EXPECT_EQ(errors().size(), 2U);
   helper_->answer.device = "/dev/sda1";
   Vorn::Host::runFor(day);
   EXPECT_TRUE(testing()) << "the test that was stopped starts again";
}

TEST_F(MountPtMonitorSmTest, TreatsAnotherBlockSizeAsAnotherDevice) {
   start();
   helper_->answer.blkSize = 512;
   Vorn::Host::runFor(300);
   EXPECT_EQ(errors(), Texts{"device was disconnected and changed"});
}

TEST_F(MountPtMonitorSmTest, ChecksForReadOnlyBeforeAnotherDevice) {
   start();
   helper_->answer.readOnly = true;
   helper_->answer.device = "/dev/sdb1";
   Vorn::Host::runFor(300);
   EXPECT_EQ(errors(), Texts{"mount point is read-only"});
}

TEST_F(MountPtMonitorSmTest, ChecksForAnUnknownBlockSizeBeforeEither) {
   start();
   helper_->answer = {true, true, "/dev/sdb1", 0};
   Vorn::Host::runFor(300);
   EXPECT_EQ(errors(), Texts{"failed to determine device blockSize"});
   EXPECT_FALSE(testing());
   EXPECT_EQ(monitor_->mountPtDeviceBlkSize(), 4096U);
}

TEST_F(MountPtMonitorSmTest, ChecksAfterItsPeriodAndAfterAnErrorsHoldOff) {
   start();
   monitor_->periodicCheckTimeIs(50);
   monitor_->holdOffTimeIs(1000);
   Vorn::Host::runFor(301);
   ASSERT_EQ(helper_->asked.size(), 2U) << "the first was armed before it was set";
   helper_->answer.readOnly = true;
   Vorn::Host::runFor(50);
   ASSERT_EQ(helper_->asked.size(), 3U);
   Vorn::Host::runFor(998);
   EXPECT_EQ(helper_->asked.size(), 3U);
   Vorn::Host::runFor(2);
   EXPECT_EQ(helper_->asked.size(), 4U);
}

TEST_F(MountPtMonitorSmTest, ChecksAfterThePeriodWhileNotMountedYet) {
   helper_->answer.mounted = false;
   start();
   monitor_->periodicCheckTimeIs(50);
   Vorn::Host::runFor(301);
   Vorn::Host::runFor(50);
   EXPECT_EQ(helper_->asked.size(), 3U);
}

TEST_F(MountPtMonitorSmTest, LogsItsErrorBeforeItStopsTheHealthTest) {
   start();
   std::vector<bool> tested;
   Vorn::Host::logSinkIs([&](Vorn::Host::LogMessage const &) { tested.push_back(testing()); });
   helper_->answer.readOnly = true;
   Vorn::Host::runFor(300);
   Vorn::Host::logSinkIs(nullptr);
   EXPECT_EQ(tested, std::vector<bool>{true});
   EXPECT_FALSE(testing());
}

TEST_F(MountPtMonitorSmTest, TestsInBlocksOfTheDeviceThatItSawFirst) {
   helper_->answer.blkSize = 512;
   start();
   EXPECT_EQ(monitor_->fsHealthSm()->blkSize(), 512U);
   EXPECT_EQ(monitor_->fsHealthSm()->cookieData().size(), 512U);
   helper_->answer.blkSize = 4096;
   Vorn::Host::runFor(300);
   EXPECT_EQ(errors(), Texts{"device was disconnected and changed"});
   EXPECT_EQ(monitor_->mountPtDeviceBlkSize(), 512U);
}

// Lets go of a monitor when it learns its device.
struct MonitorQuitter {
   explicit MonitorQuitter(Pelm::Ptr<MountPtMonitorSm> & monitor) : monitor_{monitor} {
      reactor_.notifierIs(monitor);
      reactor_.on<&MonitorQuitter::handleDevice>(monitor->mountPtDevice, *this);
      reactor_.hasNotificationActiveIs(true);
   }
   void handleDevice() {
      reactor_.notifierIs(nullptr);
      monitor_ = nullptr;
   }
   Pelm::Ptr<MountPtMonitorSm> & monitor_;
   Vorn::NotifieeConst reactor_;
};

TEST_F(MountPtMonitorSmTest, TestsNothingWhenReleasedInItsOwnChange) {
   monitor_ = mountPtMonitorSmFactory(folder_.string().c_str(), helper_, devices_);
   MonitorQuitter const quitter{monitor_};
   Vorn::Host::turn();
   EXPECT_FALSE(monitor_);
   EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

TEST_F(MountPtMonitorSmTest, ChecksNoMoreWhenReleased) {
   start();
   monitor_ = nullptr;
   Vorn::Host::runFor(2 * day);
   EXPECT_EQ(helper_->asked.size(), 1U);
   EXPECT_FALSE(std::filesystem::exists(folder_.path() / "debug/healthTestCookie"));
}

TEST_F(MountPtMonitorSmTest, NamesTheDiskInItsErrors) {
   helper_->answer.readOnly = true;
   start();
   EXPECT_EQ(logs_.messages()[0].arguments, (Texts{"mountPtCheck", folder_.string(), "S1", "Kestrel_S2",
                                                   "KF1.2", "mount point is read-only"}));
   devices_->diskDel("S1");
   Vorn::Host::runFor(day + 1);
   EXPECT_EQ(logs_.messages()[1].arguments,
             (Texts{"mountPtCheck", "", "", "", "", "mount point is read-only"}));
}

TEST_F(MountPtMonitorSmTest, IgnoresEventsAsAZombie) {
   start();
   monitor_->vornDoZombieReactors(true);
   helper_->answer.mounted = false;
   Vorn::Host::runFor(2 * day);
   EXPECT_TRUE(logs_.messages().empty());
}

TEST_F(MountPtMonitorSmTest, MakesItsHealthTestAZombieToo) {
   start();
   monitor_->vornDoZombieReactors(true);
   Vorn::Host::runFor(450);
   EXPECT_FALSE(monitor_->fsHealthSm()->writeTestOk());
}

TEST_F(MountPtMonitorSmTest, ChecksNothingBeforeItIsInitialised) {
   monitor_ = Pelm::make<MountPtMonitorSm>(folder_.string().c_str(), helper_, devices_);
   monitor_->handleTestClock();
   EXPECT_TRUE(helper_->asked.empty());
}

TEST_F(MountPtMonitorSmTest, AllowsItsErrorToMakeTheHostReleaseIt) {
   start();
   Vorn::Host::logSinkIs([this](Vorn::Host::LogMessage const &) { monitor_ = nullptr; });
   helper_->answer.readOnly = true;
   Vorn::Host::runFor(300);
   EXPECT_FALSE(monitor_);
}

}  // namespace

}  // namespace StorageDevices
