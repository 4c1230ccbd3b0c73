// The simulated unit's mount table as the mount point monitors read it, and its folders.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <optional>

#include "runtime/model/MountPtMonitorHelper.h"
#include "runtime/model/MountTable.h"
#include "simulation/SimulatedUnit.h"
#include "tests/support/TempDir.h"

namespace {

namespace fs = std::filesystem;

using StorageDevices::Simulation::FileSystems;

class FileSystemsTest : public testing::Test {
 protected:
   FileSystemsTest() { StorageDevices::Mounts::rootIs(fileSystems->root()); }
   ~FileSystemsTest() override { StorageDevices::Mounts::rootIs(""); }

   static std::string seenAt(char const * path) {
      auto const state = MountPtMonitorHelper{}.mountState(path);
      if (!state.mounted)
         return "nothing";
      return state.device.str() + " " + std::to_string(state.blkSize) + (state.readOnly ? " read-only" : "");
   }

   Support::TempDir folder;
   std::optional<FileSystems> fileSystems{std::in_place, folder.path() / "root"};
};

TEST_F(FileSystemsTest, ShowsMountsWithDeviceAndBlockSize) {
   EXPECT_EQ(seenAt("/mnt/flash"), "nothing");
   fileSystems->mountIs("flash", "sda1");
   fileSystems->mountIs("drive", "nvme0n1p1", FileSystems::Access::readOnly);
   EXPECT_EQ(seenAt("/mnt/flash"), "/dev/sda1 4096");
   EXPECT_EQ(seenAt("/mnt/drive"), "/dev/nvme0n1p1 4096 read-only");
   fileSystems->mountIs("drive", "sda2");
   EXPECT_EQ(seenAt("/mnt/drive"), "/dev/sda2 4096");
   fileSystems->mountDel("flash");
   fileSystems->mountDel("unheard-of");
   EXPECT_EQ(seenAt("/mnt/flash"), "nothing");
   EXPECT_EQ(seenAt("/mnt/drive"), "/dev/sda2 4096");
}

TEST_F(FileSystemsTest, AcceptsFilesAndLeavesNothingBehind) {
   fileSystems->mountIs("flash", "sda1");
   auto const place = fs::canonical(fileSystems->root() / "mnt/flash");
   int const flags = O_WRONLY | O_CREAT | O_CLOEXEC | (fileSystems->supportDirectIo() ? O_DIRECT : 0);
   int const fd = open((place / "file").c_str(), flags, 0600);
   EXPECT_GE(fd, 0);
   close(fd);
   fileSystems.reset();
   EXPECT_FALSE(fs::exists(place.parent_path()));
}

TEST_F(FileSystemsTest, WritesOneLinePerInjectedStep) {
   EXPECT_EQ(folder.content("root/io-results"), "");
   fileSystems->usedPercentIs("drive", 90);
   fileSystems->writeErrorIs("flash", EIO);
   EXPECT_EQ(folder.content("root/io-results"),
             "/mnt/drive utilChkRet 90\n/mnt/flash writeRet -1\n/mnt/flash writeErrno 5\n");
   fileSystems->usedPercentIs("drive", 0);
   fileSystems->writeErrorIs("flash", 0);
   EXPECT_EQ(folder.content("root/io-results"), "");
}

TEST(SimulatedUnitsFileSystemsTest, AppearsInTheEnvironmentOnceUsed) {
   StorageDevices::Simulation::SimulatedUnit unit;
   EXPECT_FALSE(unit.environment().contains("STORAGEDEVICES_SIMULATED_ROOT"));
   auto const root = unit.fileSystems().root();
   EXPECT_EQ(unit.environment()["STORAGEDEVICES_SIMULATED_ROOT"], root);
}

}  // namespace
