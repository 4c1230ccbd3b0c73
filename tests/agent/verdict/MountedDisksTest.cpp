#include "agent/verdict/MountedDisks.h"

#include <gtest/gtest.h>

#include "tests/support/DiskFields.h"

namespace Agent {
namespace {

class MountedDisksTest : public testing::Test {
 protected:
   void diskIs(char const * serial, char const * mountPoint) const {
      Support::DiskFields{.name = serial, .mountPoint = mountPoint}.writeTo(*devices);
   }
   std::string at(char const * mountPoint) {
      disks.update(*devices);
      return disks.at(mountPoint).str();
   }

   Pelm::Ptr<StorageDevices::ConnectedDevices> devices = Pelm::make<StorageDevices::ConnectedDevices>();
   MountedDisks disks;
};

TEST_F(MountedDisksTest, NamesTheDiskAddedFirst) {
   diskIs("B", "/mnt/drive");
   diskIs("A", "/mnt/drive");
   EXPECT_EQ(at("/mnt/drive"), "B");
   EXPECT_EQ(at("/mnt/drive"), devices->getDiskMountedAt("/mnt/drive").str());
}

TEST_F(MountedDisksTest, FollowsDisksThatMoveAndGo) {
   diskIs("A", "/mnt/drive");
   EXPECT_EQ(at("/mnt/drive"), "A");
   diskIs("A", "/mnt/flash");
   EXPECT_EQ(at("/mnt/drive"), "");
   EXPECT_EQ(at("/mnt/flash"), "A");
   devices->diskDel("A");
   EXPECT_EQ(at("/mnt/flash"), "");
}

}  // namespace
}  // namespace Agent
