#include "agent/kernel/KernelFileSystems.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/TempDir.h"

namespace {

namespace fs = std::filesystem;

class KernelFileSystemsTest : public testing::Test {
 protected:
   void hasBtrfs(std::string const & fileSystem, std::string const & device) const {
      fs::path const devices = root() / "sys/fs/btrfs" / fileSystem / "devices";
      fs::create_directories(devices);
      fs::create_symlink("/nowhere", devices / device);
   }
   void hasDevice(std::string const & name, std::string const & number) const {
      fs::create_directories(root() / "sys/class/block" / name);
      folder_.write("sys/class/block/" + name + "/dev", number + "\n");
   }
   void mounts(std::string const & number, std::string const & source, std::string const & options) {
      table_ += "36 25 " + number + " / /mnt/a rw - xfs " + source + " " + options + "\n";
      fs::create_directories(root() / "proc/self");
      folder_.write("proc/self/mountinfo", table_);
   }
   void hasJournal(std::string const & name) const { fs::create_directories(root() / "proc/fs/jbd2" / name); }
   bool liesOnSeveral(std::string_view device) const { return Agent::liesOnSeveralDevices(device, root()); }

 private:
   fs::path root() const { return folder_.path(); }

   Support::TempDir folder_;
   std::string table_;
};

TEST_F(KernelFileSystemsTest, FindsSeveralDevicesOfAMirrorAndOneOfASingleDisk) {
   hasBtrfs("features", "none");
   hasBtrfs("0f8fad5b-d9cb-469f-a165-70867728950e", "sda1");
   hasBtrfs("0f8fad5b-d9cb-469f-a165-70867728950e", "sdb1");
   hasBtrfs("7c9e6679-7425-40de-944b-e07fc1f90ae7", "sdc1");
   EXPECT_TRUE(liesOnSeveral("sda1"));
   EXPECT_TRUE(liesOnSeveral("sdb1"));
   EXPECT_FALSE(liesOnSeveral("sdc1"));
   EXPECT_FALSE(liesOnSeveral("sda"));
}

TEST_F(KernelFileSystemsTest, FindsTheLogAndTheRealTimeSectionOfAnXfs) {
   hasDevice("sda1", "8:1");
   hasDevice("dm-0", "254:0");
   hasDevice("sdc1", "8:33");
   mounts("8:1", "/dev/sda1", "rw,attr2,logdev=/dev/nvme0n1p2,noquota");
   mounts("254:0", "/dev/mapper/data", "rw,rtdev=/dev/sdd");
   mounts("8:33", "/dev/sdc1", "rw,attr2,logbufs=8,logbsize=32k,noquota");
   EXPECT_TRUE(liesOnSeveral("sda1"));
   EXPECT_TRUE(liesOnSeveral("dm-0"));
   EXPECT_FALSE(liesOnSeveral("sdc1"));
   EXPECT_FALSE(liesOnSeveral("nvme0n1p2"));
}

TEST_F(KernelFileSystemsTest, FindsAJournalOnAnotherDevice) {
   for (std::string const device : {"sda1", "sdb1", "sdc1", "dm-0", "dm-1"})
      hasDevice(device, "8:1");
   hasJournal("sdc1-8");
   hasJournal("dm-0-8");
   EXPECT_FALSE(liesOnSeveral("sda1")) << "nobody has a journal elsewhere";
   hasJournal("sdb1");
   EXPECT_TRUE(liesOnSeveral("sda1"));
   EXPECT_TRUE(liesOnSeveral("dm-1"));
   EXPECT_FALSE(liesOnSeveral("sdc1"));
   EXPECT_FALSE(liesOnSeveral("dm-0"));
}

TEST_F(KernelFileSystemsTest, FindsNothingForBadNamesAndMissingFolders) {
   EXPECT_FALSE(liesOnSeveral("sda1"));
   hasBtrfs("0f8fad5b-d9cb-469f-a165-70867728950e", "sda1");
   hasBtrfs("0f8fad5b-d9cb-469f-a165-70867728950e", "sdb1");
   for (std::string const name : {"", ".", "..", "../devices/sda1", "/sda1", "sdz"})
      EXPECT_FALSE(liesOnSeveral(name)) << name;
}

}  // namespace
