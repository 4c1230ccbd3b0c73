#include "agent/SimulatedRoot.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "StorageDevices/Factories.h"
#include "runtime/model/MountTable.h"
#include "tests/support/DiskFields.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/MountPoint.h"
#include "tests/support/TempDir.h"
#include "tests/support/VirtualTimeTest.h"

namespace Agent {
namespace {

namespace fs = std::filesystem;

using StorageDevices::FsHealthIoOps;

TEST(IoResultsTest, AppliesToItsMountPointAndEndsWithItsLines) {
   FsHealthIoOps operations;
   std::string const text =
       "/mnt/flash openRet -7\n/mnt/drive writeRet -1\n/mnt/drive writeErrno 5\n/mnt/drive utilChkRet 90\n";
   ioResultsAre(operations, "/mnt/drive", text);
   EXPECT_EQ(operations.writeRet(), -1);
   EXPECT_EQ(operations.writeErrno(), 5);
   EXPECT_EQ(operations.utilChkRet(), 90);
   EXPECT_EQ(operations.openRet(), 0);
   ioResultsAre(operations, "/mnt/drive", "/mnt/drive utilChkRet 40\n");
   EXPECT_EQ(operations.writeRet(), 0);
   EXPECT_EQ(operations.writeErrno(), 0);
   EXPECT_EQ(operations.utilChkRet(), 40);
}

TEST(IoResultsTest, AcceptsEveryOperation) {
   FsHealthIoOps operations;
   std::string text;
   int value = 0;
   for (char const * step : {"open", "lseek", "read", "write", "fsync", "close"})
      for (char const * kind : {"Ret", "Errno"})
         text += std::string{"/m "} + step + kind + " " + std::to_string(++value) + "\n";
   ioResultsAre(operations, "/m", text);
   EXPECT_EQ(operations.openRet(), 1);
   EXPECT_EQ(operations.openErrno(), 2);
   EXPECT_EQ(operations.lseekRet(), 3);
   EXPECT_EQ(operations.lseekErrno(), 4);
   EXPECT_EQ(operations.readRet(), 5);
   EXPECT_EQ(operations.readErrno(), 6);
   EXPECT_EQ(operations.writeRet(), 7);
   EXPECT_EQ(operations.writeErrno(), 8);
   EXPECT_EQ(operations.fsyncRet(), 9);
   EXPECT_EQ(operations.fsyncErrno(), 10);
   EXPECT_EQ(operations.closeRet(), 11);
   EXPECT_EQ(operations.closeErrno(), 12);
}

TEST(IoResultsTest, IgnoresLinesThatAreNotUnderstood) {
   FsHealthIoOps operations;
   ioResultsAre(operations, "/m",
                "\n/m\n/m writeRet\n/m writeRet x\n/m unheardOf 3\n/m readRet 99999999999\n");
   EXPECT_EQ(operations.writeRet(), 0);
   EXPECT_EQ(operations.readRet(), 0);
}

// A disk whose file system is mounted below a folder.
class SimulatedRootTest : public Support::VirtualTimeTest {
 protected:
   SimulatedRootTest() {
      fs::create_directories(folder.path() / "proc/self");
      fs::create_directories(folder.path() / "sys/dev/block/8:1/queue");
      fs::create_directories(folder.path() / "mnt/drive");
      folder.write("sys/dev/block/8:1/uevent", "DEVNAME=sda1\n");
      folder.write("sys/dev/block/8:1/queue/logical_block_size", "4096\n");
      folder.write("proc/self/mountinfo", "30 25 8:1 / /mnt/drive rw - ext4 /dev/sda1 rw\n");
      Support::DiskFields{.name = "S1"}.writeTo(*devices);
   }

   void start() {
      root = std::make_unique<SimulatedRoot>(folder.string());
      mountPoints = StorageDevices::mountPtMonitorManagerSmFactory(devices);
      root->mountPointsIs(mountPoints);
   }

   Support::TempDir folder{Support::folderWithDirectIo()};
   Support::LogRecorder logs;
   Pelm::Ptr<StorageDevices::ConnectedDevices> devices = Pelm::make<StorageDevices::ConnectedDevices>();
   std::unique_ptr<SimulatedRoot> root;
   Pelm::Ptr<StorageDevices::MountPtMonitorManagerSm> mountPoints;
};

TEST_F(SimulatedRootTest, TestsItsFileSystemsWhereTheyReallyLie) {
   start();
   Vorn::Host::runFor(700);
   auto const test = mountPoints->mountPtMonitorSm("/mnt/drive")->fsHealthSm();
   ASSERT_TRUE(test);
   EXPECT_EQ(test->mntPt(), "/mnt/drive");
   EXPECT_TRUE(test->writeTestOk() && test->readTestOk());
   EXPECT_EQ(folder.content("mnt/drive/debug/healthTestCookie"), test->cookieData().str());
   EXPECT_TRUE(logs.messages().empty());
   folder.write("proc/self/mountinfo", "30 25 8:1 / /mnt/drive ro - ext4 /dev/sda1 ro\n");
   Vorn::Host::runFor(300);
   ASSERT_EQ(logs.messages().size(), 1U);
   EXPECT_EQ(logs.messages()[0].arguments[5], "mount point is read-only");
}

TEST_F(SimulatedRootTest, AppliesAnInjectedResultToItsOperation) {
   folder.write("io-results", "/mnt/drive utilChkRet 86\n");
   start();
   Vorn::Host::runFor(150);
   ASSERT_EQ(logs.messages().size(), 1U);
   EXPECT_EQ(logs.messages()[0].name, "STORAGEDEVICE_MONITOR_WARNING");
   folder.write("io-results", "/mnt/drive writeRet -1\n/mnt/drive writeErrno " + std::to_string(EIO) + "\n");
   Vorn::Host::runFor(200);
   ASSERT_EQ(logs.messages().size(), 2U);
   EXPECT_EQ(logs.messages()[1].arguments[0] + ": " + logs.messages()[1].arguments[5],
             "writeTest - write: Input/output error");
}

TEST_F(SimulatedRootTest, RestoresTheMachinesOwnMountsWhenItEnds) {
   start();
   ASSERT_EQ(StorageDevices::Mounts::mountsAt("/mnt/drive").size(), 1U);
   EXPECT_EQ(StorageDevices::Mounts::accessPath("/mnt/drive"), folder.string() + "/mnt/drive");
   mountPoints = nullptr;
   root.reset();
   EXPECT_EQ(StorageDevices::Mounts::accessPath("/mnt/drive"), "/mnt/drive");
   EXPECT_FALSE(StorageDevices::Mounts::mountsAt("/proc").empty());
}

}  // namespace
}  // namespace Agent
