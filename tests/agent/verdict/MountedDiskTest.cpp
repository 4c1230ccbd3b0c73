// The verdicts on a disk whose file system is tested: what the monitors of its mount point found.
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <tuple>

#include "tests/support/MountedDisk.h"

namespace Agent {
namespace {

using MountedDiskTest = Support::MountedDisk;

TEST_F(MountedDiskTest, ReportsWriteTestFailedUntilATestSucceeds) {
   ASSERT_TRUE(begins());
   oneTestGoesBy();
   EXPECT_EQ(reasons(), "");
   test().ioOps()->writeRetIs(-1);
   test().ioOps()->writeErrnoIs(EIO);
   ASSERT_TRUE(becomes("write-test-failed: write test failed"));
   EXPECT_EQ(word(), "failing");
   test().ioOps()->writeRetIs(0);
   time->jumpBy(80000);  // most of the pause after a failure
   ASSERT_TRUE(
       eventually([this] { return test().state() == StorageDevices::FsHealthSmState::readTest; }, 100000));
   EXPECT_EQ(reasons(), "write-test-failed: write test failed");
   ASSERT_TRUE(becomes(""));
}

TEST_F(MountedDiskTest, ReportsWriteTestFailedForATestThatCannotBegin) {
   ASSERT_TRUE(begins());
   oneTestGoesBy();
   ASSERT_TRUE(test().writeTestOk() && test().readTestOk());
   folder.write("blocker", "");
   std::filesystem::remove_all(folder.path() / "debug");
   folder.write("debug", "");
   EXPECT_TRUE(becomes("write-test-failed: write test failed: its file cannot be prepared"));
}

TEST_F(MountedDiskTest, ForgetsTracedErrorsOfATestThatIsStartedAgain) {
   ASSERT_TRUE(begins());
   test().ioOps()->writeRetIs(-1);
   test().ioOps()->writeErrnoIs(EINVAL);
   ASSERT_TRUE(becomes("write-test-failed: write test failed"));
   helper->answer.readOnly = true;
   ASSERT_TRUE(becomes("mounted-read-only: " + folder.string() + " is mounted read-only"));
   helper->answer.readOnly = false;
   test().ioOps()->writeRetIs(0);
   ASSERT_TRUE(eventually([this] { return reasons().empty() && test().running(); }, 100000));
   EXPECT_FALSE(eventually([this] { return !reasons().empty(); }, 3000)) << reasons();
}

TEST_F(MountedDiskTest, ReportsWriteTestFailedForATestThatCannotBeginAgain) {
   ASSERT_TRUE(begins());
   oneTestGoesBy();
   helper->answer.readOnly = true;
   ASSERT_TRUE(becomes("mounted-read-only: " + folder.string() + " is mounted read-only"));
   helper->answer.readOnly = false;
   std::filesystem::remove_all(folder.path() / "debug");
   folder.write("debug", "");
   EXPECT_TRUE(becomes("write-test-failed: write test failed: its file cannot be prepared", 100000));
}

TEST_F(MountedDiskTest, ReportsWriteTestFailedForAMountPointThatIsNoDirectory) {
   ASSERT_TRUE(begins());
   oneTestGoesBy();
   std::filesystem::remove_all(folder.path());
   EXPECT_TRUE(becomes("write-test-failed: write test failed: the mount point is no directory"));
}

TEST_F(MountedDiskTest, ReportsReadTestFailedForTheSecondPhase) {
   ASSERT_TRUE(begins());
   test().ioOps()->readRetIs(-1);
   test().ioOps()->readErrnoIs(EIO);
   EXPECT_TRUE(becomes("read-test-failed: read test failed"));
   EXPECT_EQ(word(), "failing");
}

TEST_F(MountedDiskTest, ReportsReadTestFailedForADifferentBlockReadBack) {
   ASSERT_TRUE(begins());
   test().ioOps()->readRetIs(512);  // nothing is read into the block
   EXPECT_TRUE(becomes("read-test-failed: read test failed: what was read is not what was written"));
}

TEST_F(MountedDiskTest, EndsMountedReadOnlyWithTheMount) {
   ASSERT_TRUE(begins());
   helper->answer.readOnly = true;
   EXPECT_EQ(reasons(), "") << "the monitor has not seen it yet";
   EXPECT_TRUE(becomes("mounted-read-only: " + folder.string() + " is mounted read-only"));
   EXPECT_EQ(word(), "failing");
   helper->answer.readOnly = false;
   EXPECT_EQ(reasons(), "");
}

TEST_F(MountedDiskTest, NamesTheMountPointOfMountChanged) {
   ASSERT_TRUE(begins());
   helper->answer.device = "/dev/sdb1";
   EXPECT_TRUE(becomes("mount-changed: another device is mounted at " + folder.string()));
   EXPECT_EQ(word(), "failing");
}

TEST_F(MountedDiskTest, ReportsMountChangedForAnotherDisksMountFromTheBeginning) {
   Support::DiskFields{.name = "KS0002", .blockDevice = "/dev/sdb", .mountPoint = "/mnt/other"}.writeTo(
       *entities.devices);
   helper->answer.device = "/dev/sdb1";
   ASSERT_TRUE(begins());
   EXPECT_EQ(reasons(), "mount-changed: another device is mounted at " + folder.string());
}

TEST_F(MountedDiskTest, DistinguishesAnotherDisksPartitionFromALongerName) {
   for (auto const & [disk, device, isIts] : {std::tuple{"/dev/nvme0n1", "/dev/nvme0n1p2", true},
                                              {"/dev/sdb", "/dev/sdb", true},
                                              {"/dev/sdb", "/dev/sdbb1", false},
                                              {"/dev/mmcblk0", "/dev/mmcblk0boot0", false}}) {
      manager = nullptr;
      Support::DiskFields{.name = "KS0002", .blockDevice = disk, .mountPoint = "/mnt/other"}.writeTo(
          *entities.devices);
      helper->answer.device = device;
      manager = StorageDevices::mountPtMonitorManagerSmFactory(entities.devices);
      ASSERT_TRUE(begins());
      std::string const text = "mount-changed: another device is mounted at " + folder.string();
      EXPECT_EQ(reasons(), isIts ? text : "") << device;
   }
}

TEST_F(MountedDiskTest, DoesNotReportMountChangedBeforeTheFirstDeviceIsKnown) {
   helper->answer.blkSize = 0;
   Vorn::Host::runFor(1000);
   EXPECT_EQ(reasons(), "");
}

TEST_F(MountedDiskTest, ReportsAMountPointsFaultsForTheOneDiskMountedThere) {
   char const another[] = "KS0002";
   Support::DiskFields{.name = another, .blockDevice = "/dev/sdb", .mountPoint = folder.string()}.writeTo(
       *entities.devices);
   ASSERT_TRUE(begins());
   test().ioOps()->writeRetIs(-1);
   test().ioOps()->writeErrnoIs(EIO);
   oneTestGoesBy();
   bool const isFirst = entities.devices->getDiskMountedAt(Pelm::String{folder.string()}) == serial;
   verdicts.evaluate();
   auto const reported = [this](char const * name) {
      return verdicts.disks().verdict(name)->reasons().size();
   };
   EXPECT_EQ(reported(serial), isFirst ? 1U : 0U);
   EXPECT_EQ(reported(another), isFirst ? 0U : 1U);
}

TEST_F(MountedDiskTest, DoesNotReportMountChangedForAnArrayOrADiskAtTheSameMountPoint) {
   Support::DiskFields{.name = "KS0002", .blockDevice = "/dev/sdb", .mountPoint = folder.string()}.writeTo(
       *entities.devices);
   for (char const * device : {"/dev/md0", "/dev/dm-1", "/dev/sdb1", "/dev/sdbb1", "overlay"}) {
      manager = nullptr;
      helper->answer.device = device;
      manager = StorageDevices::mountPtMonitorManagerSmFactory(entities.devices);
      ASSERT_TRUE(begins());
      EXPECT_EQ(reasons(), "") << device;
   }
}

TEST_F(MountedDiskTest, DoesNotReportWriteTestFailedForTheNextDisk) {
   ASSERT_TRUE(begins());
   test().ioOps()->writeRetIs(-1);
   test().ioOps()->writeErrnoIs(EIO);
   ASSERT_TRUE(becomes("write-test-failed: write test failed"));
   entities.devices->diskDel(serial);
   EXPECT_EQ(reasons(), "removed: removed");
   Support::DiskFields{.mountPoint = folder.string()}.writeTo(*entities.devices);
   EXPECT_EQ(reasons(), "");
   time->jumpBy(80000);  // most of the pause after a failure
   oneTestGoesBy();
   EXPECT_EQ(reasons(), "write-test-failed: write test failed");
}

TEST_F(MountedDiskTest, ReportsWriteTestFailedForADiskInThePlaceOfAnAbsentOne) {
   char const another[] = "KS0002";
   ASSERT_TRUE(begins());
   entities.devices->diskDel(serial);
   ASSERT_EQ(reasons(), "removed: removed");
   Support::DiskFields{.name = another, .mountPoint = folder.string()}.writeTo(*entities.devices);
   test().ioOps()->writeRetIs(-1);
   test().ioOps()->writeErrnoIs(EIO);
   verdicts.evaluate();
   ASSERT_TRUE(eventually([&] { return !verdicts.disks().verdict(another)->reasons().empty(); }, 100000));
   EXPECT_STREQ(verdicts.disks().verdict(another)->reasons().front().code, "write-test-failed");
   EXPECT_EQ(reasons(), "removed: removed");
}

TEST_F(MountedDiskTest, ForgetsTestsFromBeforeTheDiskCame) {
   verdicts.evaluate();
   entities.devices->diskDel(serial);
   ASSERT_TRUE(begins());
   test().ioOps()->writeRetIs(-1);
   test().ioOps()->writeErrnoIs(EINVAL);
   oneTestGoesBy();
   test().ioOps()->writeRetIs(0);
   EXPECT_EQ(reasons(), "removed: removed");
   Support::DiskFields{.mountPoint = folder.string()}.writeTo(*entities.devices);
   EXPECT_EQ(reasons(), "");
   oneTestGoesBy();
   EXPECT_EQ(reasons(), "");
}

TEST_F(MountedDiskTest, ReportsMountGoneForAFormerMount) {
   ASSERT_TRUE(begins());
   helper->answer.mounted = false;
   EXPECT_TRUE(becomes("mount-gone: nothing is mounted at " + folder.string()));
   EXPECT_EQ(word(), "failing");
}

TEST_F(MountedDiskTest, DoesNotReportMountGoneBeforeTheFirstMountHadItsTime) {
   helper->answer.mounted = false;
   Vorn::Host::runFor(600);
   EXPECT_EQ(reasons(), "");
   EXPECT_TRUE(becomes("mount-gone: nothing is mounted at " + folder.string(), 4000));
}

TEST_F(MountedDiskTest, ReportsFileSystemFullForTheMonitorsWarning) {
   ASSERT_TRUE(begins());
   test().ioOps()->utilChkRetIs(90);
   EXPECT_TRUE(becomes("file-system-full: its file system is more than 85 % full"));
   EXPECT_EQ(word(), "warning");
   test().highUtilThresholdIs(50);
   EXPECT_TRUE(becomes("file-system-full: its file system is more than 50 % full"));
   test().ioOps()->utilChkRetIs(40);
   EXPECT_TRUE(becomes(""));
}

}  // namespace
}  // namespace Agent
