#include "StorageDevices/MountPtMonitorSm.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "StorageDevices/Factories.h"
#include "StorageDevices/MountPtMonitorManagerSm.h"
#include "tests/support/DiskFields.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/MountPoint.h"
#include "tests/support/TraceRecorder.h"
#include "tests/support/Units.h"
#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {

namespace {

using Texts = std::vector<std::string>;
using MountState = MountPtMonitorHelper::MountState;

// Answers what the test says.
class FakeHelper final : public MountPtMonitorHelper {
 public:
   MountState mountState(Pelm::String const & mountPt) const override {
      asked.push_back(mountPt.str());
      if (raises)
         throw std::bad_alloc{};
      return answer;
   }
   MountState answer{true, false, "/dev/sda1", 4096};
   bool raises = false;
   mutable Texts asked;
};

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
   Pelm::Ptr<FakeHelper> helper_ = Pelm::make<FakeHelper>();
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

class MountPtMonitorManagerSmTest : public Support::VirtualTimeTest {
 protected:
   MountPtMonitorManagerSmTest() {
      MountPtMonitorHelper::creatorIs([this] {
         helpers_.push_back(Pelm::make<FakeHelper>());
         return helpers_.back();
      });
   }
   ~MountPtMonitorManagerSmTest() override { MountPtMonitorHelper::creatorIs(nullptr); }

   void plug(std::string const & serial, std::string const & mountPoint, bool removable = false) const {
      Support::DiskFields{.name = serial, .mountPoint = mountPoint, .removable = removable}.writeTo(
          *devices_);
   }
   Texts watched() {
      manager_ = mountPtMonitorManagerSmFactory(devices_);
      Texts result;
      for (auto const & [mountPt, monitor] : manager_->mountPtMonitorSm)
         result.push_back(mountPt.str());
      return result;
   }

   Support::TraceRecorder traces_{{"StorageDevicesMountPtMonitorManagerSm", 7}};
   Pelm::Ptr<ConnectedDevices> devices_ = Pelm::make<ConnectedDevices>();
   std::vector<Pelm::Ptr<FakeHelper>> helpers_;
   Pelm::Ptr<MountPtMonitorManagerSm> manager_;
};

TEST_F(MountPtMonitorManagerSmTest, WatchesEachFixedDiskWithAHelperOfItsOwn) {
   plug("A", "/mnt/flash");
   plug("B", "/mnt/drive");
   plug("stick", "/mnt/usb1", true);
   EXPECT_EQ(watched(), (Texts{"/mnt/flash", "/mnt/drive"}));
   EXPECT_EQ(helpers_.size(), 2U);
   EXPECT_EQ(traces_.texts(2), (Texts{"Instantiating state machine for /mnt/flash",
                                      "Instantiating state machine for /mnt/drive"}));
   EXPECT_TRUE(traces_.errors().empty());
}

TEST_F(MountPtMonitorManagerSmTest, WatchesEachMountPointOnce) {
   plug("A", "/mnt/flash");
   plug("B", "/mnt/flash");
   EXPECT_EQ(watched(), Texts{"/mnt/flash"});
   EXPECT_EQ(traces_.texts(1), Texts{"Already have a monitoring SM for /mnt/flash, skipping"});
}

TEST_F(MountPtMonitorManagerSmTest, UsesOneHelperPerName) {
   plug("A", "/mnt/flash");
   plug("B", "/mnt/flash");
   watched();
   EXPECT_EQ(helpers_.size(), 1U);
   EXPECT_TRUE(traces_.errors().empty());
}

TEST_F(MountPtMonitorManagerSmTest, WatchesAMountPointWithoutAName) {
   plug("A", "");
   EXPECT_EQ(watched(), Texts{""});
}

TEST_F(MountPtMonitorManagerSmTest, TracesAMissingMainFlash) {
   EXPECT_EQ(watched(), Texts{});
   EXPECT_EQ(traces_.errors(), Texts{"No monitoring state machine instantiated for /mnt/flash"});
}

TEST_F(MountPtMonitorManagerSmTest, TracesAMissingMainFlashBesideOtherMountPoints) {
   plug("A", "/mnt/drive");
   watched();
   EXPECT_EQ(traces_.errors(), Texts{"No monitoring state machine instantiated for /mnt/flash"});
}

TEST_F(MountPtMonitorManagerSmTest, DecidesOnTheMountPointsOnce) {
   plug("A", "/mnt/flash");
   watched();
   plug("B", "/mnt/drive");
   devices_->diskDel("A");
   Vorn::Host::runFor(10);
   EXPECT_EQ(manager_->mountPtMonitorSm.size(), 1U);
   manager_->mountPtMonitorSmDel("/mnt/flash");
   EXPECT_TRUE(manager_->mountPtMonitorSm.empty());
}

TEST_F(MountPtMonitorManagerSmTest, ReleasesItsMonitorsWhenReleased) {
   plug("A", "/mnt/flash");
   watched();
   manager_ = nullptr;
   Vorn::Host::runFor(1000);
   EXPECT_TRUE(helpers_[0]->asked.empty());
}

TEST_F(MountPtMonitorManagerSmTest, ReleasesItsMonitorsWhenStopped) {
   plug("A", "/mnt/flash");
   watched();
   manager_->vornDoZombieReactors(true);
   Vorn::Host::runFor(1000);
   EXPECT_TRUE(helpers_[0]->asked.empty());
}

}  // namespace

}  // namespace StorageDevices
