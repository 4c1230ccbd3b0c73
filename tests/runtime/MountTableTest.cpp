#include "runtime/model/MountTable.h"

#include <gtest/gtest.h>

#include "runtime/model/MountPtMonitorHelper.h"
#include "tests/support/ProcessState.h"
#include "tests/support/TempDir.h"

namespace {

namespace fs = std::filesystem;

// A mount table and a sysfs of the test's own.
class MountTableTest : public testing::Test {
 protected:
   MountTableTest() {
      fs::create_directories(folder_.path() / "proc/self");
      fs::create_directories(folder_.path() / "sys/dev/block");
      fs::create_directories(folder_.path() / "sys/class/block");
      device("sda", "8:0", "512");
      device("sda/sda1", "8:1", "");
      device("nvme0n1", "259:0", "4096");
      device("dm-0", "254:0", "512");
      StorageDevices::Mounts::rootIs(folder_.string());
   }
   ~MountTableTest() override { StorageDevices::Mounts::rootIs(""); }

   void device(std::string const & path, std::string const & number, std::string const & blockSize) const {
      fs::path const at = folder_.path() / "sys/devices" / path;
      std::string const name = at.filename();
      fs::create_directories(at / "queue");
      if (blockSize.empty())
         fs::remove_all(at / "queue");
      else
         std::ofstream{at / "queue/logical_block_size"} << blockSize << '\n';
      std::ofstream{at / "uevent"} << "MAJOR=0\nDEVNAME=" << name << "\nDEVTYPE=disk\n";
      std::ofstream{at / "dev"} << number << '\n';
      fs::create_directory_symlink(at, folder_.path() / "sys/dev/block" / number);
      fs::create_directory_symlink(at, folder_.path() / "sys/class/block" / name);
   }
   // A line of the table: number, root, mount point, options, type, source, options of the file system.
   void mount(std::string const & number, std::string const & mountPoint, std::string const & options,
              std::string const & type, std::string const & source, std::string const & superOptions) {
      table_ += "36 25 " + number + " / " + mountPoint + " " + options + " shared:1 - " + type + " " +
                source + " " + superOptions + "\n";
      folder_.write("proc/self/mountinfo", table_);
   }
   static std::string seenAt(char const * path) {
      auto const state = MountPtMonitorHelper{}.mountState(path);
      return state.mounted ? state.device.str() + " " + std::to_string(state.blkSize) +
                                 (state.readOnly ? " read-only" : "")
                           : "not mounted";
   }

   Support::TempDir folder_;
   std::string table_;
};

TEST_F(MountTableTest, PlacesMountsBelowItsRoot) {
   EXPECT_EQ(StorageDevices::Mounts::accessPath("/mnt/drive"), folder_.string() + "/mnt/drive");
   StorageDevices::Mounts::rootIs("");
   EXPECT_EQ(StorageDevices::Mounts::accessPath("/mnt/drive"), "/mnt/drive");
}

TEST_F(MountTableTest, NamesTheDeviceAndItsBlockSize) {
   mount("259:0", "/mnt/drive", "rw,relatime", "ext4", "/dev/nvme0n1", "rw");
   EXPECT_EQ(seenAt("/mnt/drive"), "/dev/nvme0n1 4096");
   EXPECT_EQ(seenAt("/mnt/driv"), "not mounted");
   EXPECT_EQ(seenAt("/mnt/drive/"), "not mounted");
}

TEST_F(MountTableTest, ListsEachMountPointOnceInItsOrder) {
   EXPECT_TRUE(StorageDevices::Mounts::mountPoints().empty());
   mount("8:1", "/mnt/flash", "rw", "ext4", "/dev/sda1", "rw");
   mount("0:21", "/proc", "rw", "proc", "proc", "rw");
   mount("259:0", "/mnt/flash", "rw", "ext4", "/dev/nvme0n1", "rw");
   mount("259:0", "/mnt/a\\040b", "rw", "ext4", "/dev/nvme0n1", "rw");
   EXPECT_EQ(StorageDevices::Mounts::mountPoints(),
             (std::vector<std::string>{"/mnt/flash", "/proc", "/mnt/a b"}));
}

TEST_F(MountTableTest, GivesAPartitionTheBlockSizeOfItsDisk) {
   mount("8:1", "/mnt/flash", "rw", "vfat", "/dev/sda1", "rw");
   EXPECT_EQ(seenAt("/mnt/flash"), "/dev/sda1 512");
}

TEST_F(MountTableTest, ReadsReadOnlyFromTheMountOrTheFileSystem) {
   mount("8:1", "/mnt/a", "ro,relatime", "ext4", "/dev/sda1", "rw");
   mount("8:1", "/mnt/b", "rw,relatime", "ext4", "/dev/sda1", "ro,errors=remount-ro");
   mount("8:1", "/mnt/c", "rw,relatime", "ext4", "/dev/sda1", "rw,errors=remount-ro");
   EXPECT_EQ(seenAt("/mnt/a"), "/dev/sda1 512 read-only");
   EXPECT_EQ(seenAt("/mnt/b"), "/dev/sda1 512 read-only");
   EXPECT_EQ(seenAt("/mnt/c"), "/dev/sda1 512");
}

TEST_F(MountTableTest, TreatsAFileSystemThatTheKernelStoppedAsReadOnly) {
   mount("8:1", "/mnt/a", "rw,relatime", "ext4", "/dev/sda1", "rw,errors=remount-ro,emergency_ro");
   EXPECT_EQ(seenAt("/mnt/a"), "/dev/sda1 512 read-only");
}

TEST_F(MountTableTest, ShowsTheLastMountOfAPath) {
   mount("8:1", "/mnt/flash", "rw", "ext4", "/dev/sda1", "rw");
   mount("259:0", "/mnt/flash", "rw", "ext4", "/dev/nvme0n1", "rw");
   EXPECT_EQ(seenAt("/mnt/flash"), "/dev/nvme0n1 4096");
   EXPECT_EQ(StorageDevices::Mounts::mountsAt("/mnt/flash").size(), 2U);
}

TEST_F(MountTableTest, RaisesAnErrorWithoutDescriptors) {
   mount("8:1", "/mnt/a", "rw", "ext4", "/dev/sda1", "rw");
   EXPECT_EQ(seenAt("/mnt/a"), "/dev/sda1 512");
   {
      Support::DescriptorLimit const limit{0};
      EXPECT_THROW(seenAt("/mnt/a"), std::system_error) << "nobody knows that nothing is mounted";
   }
   EXPECT_EQ(seenAt("/mnt/a"), "/dev/sda1 512");
}

TEST_F(MountTableTest, ResolvesNamesThatAreNoNodes) {
   mount("8:1", "/mnt/a", "rw", "ext4", "/dev/root", "rw");
   mount("254:0", "/mnt/b", "rw", "ext4", "/dev/mapper/vault", "rw");
   mount("0:40", "/mnt/c", "rw", "btrfs", "/dev/sda1", "rw,subvol=/");
   EXPECT_EQ(seenAt("/mnt/a"), "/dev/sda1 512");
   EXPECT_EQ(seenAt("/mnt/b"), "/dev/dm-0 512");
   EXPECT_EQ(seenAt("/mnt/c"), "/dev/sda1 512");
}

TEST_F(MountTableTest, HasNoBlockSizeWithoutADevice) {
   mount("0:30", "/mnt/a", "rw", "overlay", "overlay", "rw,lowerdir=/x");
   mount("0:31", "/mnt/b", "rw", "nfs4", "server:/share", "rw");
   EXPECT_EQ(seenAt("/mnt/a"), "overlay 0");
   EXPECT_EQ(seenAt("/mnt/b"), "server:/share 0");
}

TEST_F(MountTableTest, TreatsAnInvalidBlockSizeAsUnknown) {
   device("odd", "7:0", "513");
   device("tiny", "7:1", "4");
   device("word", "7:2", "many");
   for (char const * const name : {"0", "1", "2"})
      mount(std::string{"7:"} + name, std::string{"/mnt/"} + name, "rw", "ext4", "/dev/x", "rw");
   EXPECT_EQ(seenAt("/mnt/0"), "/dev/odd 0");
   EXPECT_EQ(seenAt("/mnt/1"), "/dev/tiny 0");
   EXPECT_EQ(seenAt("/mnt/2"), "/dev/word 0");
}

TEST_F(MountTableTest, AcceptsBlockSizesFromEightBytes) {
   device("small", "7:0", "8");
   mount("7:0", "/mnt/a", "rw", "ext4", "/dev/x", "rw");
   EXPECT_EQ(seenAt("/mnt/a"), "/dev/small 8");
}

TEST_F(MountTableTest, KeepsTheNameOfADeviceThatSysfsDoesNotKnow) {
   mount("8:99", "/mnt/a", "rw", "ext4", "/dev/sda99", "rw");
   EXPECT_EQ(seenAt("/mnt/a"), "/dev/sda99 0");
}

TEST_F(MountTableTest, DoesNotLookUpASourceWithAFolder) {
   mount("0:40", "/mnt/a", "rw", "btrfs", "/dev/sda/sda1", "rw");
   mount("0:41", "/mnt/b", "rw", "fuse", "/xxx/sda1", "rw");
   EXPECT_EQ(seenAt("/mnt/a"), "/dev/sda/sda1 0");
   EXPECT_EQ(seenAt("/mnt/b"), "/xxx/sda1 0");
}

TEST_F(MountTableTest, ReadsEscapedNames) {
   mount("8:1", "/mnt/my\\040drive", "rw", "ext4", "/dev/sda1", "rw");
   EXPECT_EQ(seenAt("/mnt/my drive"), "/dev/sda1 512");
}

TEST_F(MountTableTest, ReadsOnlyWholeEscapes) {
   mount("8:1", "/mnt/a\\04", "rw", "ext4", "/dev/sda1", "rw");
   mount("8:1", "/mnt/b\\089", "rw", "ext4", "/dev/sda1", "rw");
   mount("8:1", "/mnt/c\\134040", "rw", "ext4", "/dev/sda1", "rw");
   EXPECT_EQ(seenAt("/mnt/a\\04"), "/dev/sda1 512");
   EXPECT_EQ(seenAt("/mnt/b\\089"), "/dev/sda1 512");
   EXPECT_EQ(seenAt("/mnt/c\\040"), "/dev/sda1 512");
}

TEST_F(MountTableTest, ReadsMountsWithManyOptionalFieldsOrNone) {
   table_ =
       "36 25 8:1 / /mnt/a rw - ext4 /dev/sda1 rw\n"
       "37 25 8:1 / /mnt/b rw shared:1 master:2 unbindable - ext4 /dev/sda1 rw\n";
   folder_.write("proc/self/mountinfo", table_);
   EXPECT_EQ(seenAt("/mnt/a"), "/dev/sda1 512");
   EXPECT_EQ(seenAt("/mnt/b"), "/dev/sda1 512");
}

TEST_F(MountTableTest, ReadsAnEmptySource) {
   mount("0:30", "/mnt/a", "rw", "tmpfs", "", "rw,size=64k");
   EXPECT_EQ(seenAt("/mnt/a"), " 0");
}

TEST_F(MountTableTest, SkipsLinesOfAnotherForm) {
   table_ =
       "\n36\n36 25 8:1 / /mnt/a\n36 25 8 / /mnt/a rw - ext4 /dev/sda1 rw\n"
       "36 25 x:1 / /mnt/a rw - ext4 /dev/sda1 rw\n36 25 8:1 / /mnt/a rw ext4 /dev/sda1 rw\n";
   folder_.write("proc/self/mountinfo", table_);
   EXPECT_EQ(seenAt("/mnt/a"), "not mounted");
   mount("8:1", "/mnt/a", "rw", "ext4", "/dev/sda1", "rw");
   EXPECT_EQ(seenAt("/mnt/a"), "/dev/sda1 512");
}

TEST_F(MountTableTest, TakesNoOptionForItsBeginning) {
   mount("8:1", "/mnt/a", "rw,rootcontext", "ext4", "/dev/sda1", "rw,roerrors,xro");
   EXPECT_EQ(seenAt("/mnt/a"), "/dev/sda1 512");
}

TEST_F(MountTableTest, ShowsNothingMountedWithoutATable) {
   EXPECT_EQ(seenAt("/mnt/flash"), "not mounted");
}

TEST_F(MountTableTest, ListsTheDevicesBelowAMapperNode) {
   device("dm-1", "254:1", "512");
   fs::create_directories(folder_.path() / "sys/devices/dm-0/slaves/dm-1");
   fs::create_directories(folder_.path() / "sys/devices/dm-1/slaves/sda1");
   fs::create_directories(folder_.path() / "sys/devices/dm-1/slaves/dm-0");
   EXPECT_EQ(StorageDevices::Mounts::devicesBelow("/dev/dm-0"),
             (std::vector<std::string>{"/dev/dm-1", "/dev/dm-0", "/dev/sda1"}));
   EXPECT_TRUE(StorageDevices::Mounts::devicesBelow("/dev/sda1").empty());
   EXPECT_TRUE(StorageDevices::Mounts::devicesBelow("/dev/dm-9").empty());
}

TEST_F(MountTableTest, ListsTheDevicesBelowInOrderOfTheirNames) {
   std::vector<std::string> expected;
   for (int i = 10; i < 30; ++i) {
      fs::create_directories(folder_.path() / "sys/devices/dm-0/slaves" / ("sd" + std::to_string(i)));
      expected.push_back("/dev/sd" + std::to_string(i));
   }
   EXPECT_EQ(StorageDevices::Mounts::devicesBelow("/dev/dm-0"), expected);
}

TEST_F(MountTableTest, BoundsTheListOfDevicesBelow) {
   for (int i = 100; i < 170; ++i)
      fs::create_directories(folder_.path() / "sys/devices/dm-0/slaves" / ("sd" + std::to_string(i)));
   auto const found = StorageDevices::Mounts::devicesBelow("/dev/dm-0");
   ASSERT_EQ(found.size(), 64U);
   EXPECT_EQ(found.back(), "/dev/sd163");
}

TEST_F(MountTableTest, ListsDevicesBelowAMapperNodeOnly) {
   fs::create_directories(folder_.path() / "sys/devices/nvme0n1/slaves/sda");
   EXPECT_TRUE(StorageDevices::Mounts::devicesBelow("/dev/nvme0n1").empty());
}

TEST_F(MountTableTest, UsesAHelperThatTheHostMade) {
   int made = 0;
   MountPtMonitorHelper::creatorIs([&] {
      ++made;
      return Pelm::make<MountPtMonitorHelper>();
   });
   EXPECT_TRUE(MountPtMonitorHelper::make());
   MountPtMonitorHelper::creatorIs(nullptr);
   EXPECT_TRUE(MountPtMonitorHelper::make());
   EXPECT_EQ(made, 1);
}

}  // namespace
