#include "StorageDevices/ConnectedDevices.h"

#include <gtest/gtest.h>

#include "tests/support/ChangeRecorder.h"
#include "tests/support/DiskFields.h"

namespace StorageDevices {

namespace {

using Support::DiskFields;

class ConnectedDevicesTest : public testing::Test {
 protected:
   DiskFields stored(char const * name) const {
      auto const disk = devices_->disk(name);
      return disk ? Support::fieldsOf(*disk) : DiskFields{.name = "(none)"};
   }

   Pelm::Ptr<ConnectedDevices> devices_ = Pelm::make<ConnectedDevices>();
   Support::ChangeRecorder<decltype(ConnectedDevices::disk)> disks_{devices_->disk};
   Support::ChangeRecorder<decltype(ConnectedDevices::udevSerialToSerialMap)> map_{
       devices_->udevSerialToSerialMap};
};

TEST_F(ConnectedDevicesTest, StoresAllTenFieldsUnderTheName) {
   DiskFields const disk{"A",
                         EntityMib::StorageType::nvme,
                         "/dev/nvme0n1",
                         "/mnt/drive2",
                         "M",
                         "F",
                         true,
                         ConnectedDisk::BusType::nvme,
                         "nvme0n1",
                         480};
   disk.writeTo(*devices_);
   EXPECT_EQ(stored("A"), disk);
   ASSERT_EQ(disks_.count(), 1U);
   EXPECT_FALSE(disks_.changes()[0].old.has_value());
   EXPECT_EQ(*disks_.changes()[0].now, devices_->disk("A"));
}

TEST_F(ConnectedDevicesTest, WritesNothingWhereTheFieldsAreTheSame) {
   DiskFields{}.writeTo(*devices_);
   auto const first = devices_->disk("KS0001");
   DiskFields{}.writeTo(*devices_);
   EXPECT_EQ(disks_.count(), 1U);
   EXPECT_EQ(devices_->disk("KS0001"), first);
}

TEST_F(ConnectedDevicesTest, ReplacesTheWholeRecordWhereOneFieldDiffers) {
   DiskFields disk;
   disk.writeTo(*devices_);
   auto const first = devices_->disk("KS0001");
   disk.firmwareRevision = "KF1.3";
   disk.writeTo(*devices_);
   ASSERT_EQ(disks_.count(), 2U);
   EXPECT_EQ(*disks_.changes()[1].old, first);
   EXPECT_EQ(first->firmwareRevision(), "KF1.2");
   EXPECT_EQ(stored("KS0001"), disk);
}

TEST_F(ConnectedDevicesTest, DeletesDisksOneByOneOrAllAtOnce) {
   for (char const * const name : {"A", "B", "C"})
      DiskFields{.name = name}.writeTo(*devices_);
   devices_->diskDel("B");
   devices_->diskDel("unheard of");
   EXPECT_EQ(devices_->disk.size(), 2U);
   EXPECT_EQ(devices_->disk("B"), nullptr);
   ASSERT_EQ(disks_.count(), 4U);
   EXPECT_FALSE(disks_.changes()[3].now.has_value());
   devices_->diskDelAll();
   EXPECT_TRUE(devices_->disk.empty());
   EXPECT_EQ(disks_.count(), 6U);
}

TEST_F(ConnectedDevicesTest, MapsAUdevSerialToTheCurrentName) {
   EXPECT_FALSE(devices_->udevSerialToSerialMap("X").has_value());
   devices_->udevSerialToSerialMapIs("X", "X");
   devices_->udevSerialToSerialMapIs("X", "Y");
   devices_->udevSerialToSerialMapIs("X", "Y");
   EXPECT_EQ(*devices_->udevSerialToSerialMap("X"), "Y");
   devices_->diskDel("X");
   devices_->diskDel("Y");
   EXPECT_EQ(map_.count(), 2U) << "a disk's deletion leaves the map to who keeps it";
   devices_->udevSerialToSerialMapIs("Z", "Z");
   devices_->udevSerialToSerialMapDel("X");
   EXPECT_FALSE(devices_->udevSerialToSerialMap("X").has_value());
   devices_->udevSerialToSerialMapDelAll();
   EXPECT_TRUE(devices_->udevSerialToSerialMap.empty());
   EXPECT_EQ(map_.count(), 5U);
}

TEST_F(ConnectedDevicesTest, FindsTheDiskOfAMountPointByTheWholePoint) {
   EXPECT_EQ(devices_->getDiskMountedAt("/mnt/drive"), "");
   DiskFields{.name = "A", .mountPoint = "/mnt/flash"}.writeTo(*devices_);
   DiskFields{.name = "B", .mountPoint = "/mnt/drive2"}.writeTo(*devices_);
   EXPECT_EQ(devices_->getDiskMountedAt("/mnt/flash"), "A");
   EXPECT_EQ(devices_->getDiskMountedAt("/mnt/drive2"), "B");
   EXPECT_EQ(devices_->getDiskMountedAt("/mnt/drive"), "");
   EXPECT_EQ(devices_->getDiskMountedAt("drive2"), "");
   EXPECT_EQ(devices_->getDiskMountedAt("/mnt/drive2/"), "");
   devices_->diskDel("A");
   EXPECT_EQ(devices_->getDiskMountedAt("/mnt/flash"), "");
}

TEST_F(ConnectedDevicesTest, AcceptsAnyBytesInNames) {
   std::string const odd{"\0\xff\n", 3};
   DiskFields{.name = odd}.writeTo(*devices_);
   EXPECT_EQ(devices_->disk.size(), 1U);
   EXPECT_NE(devices_->disk(Pelm::String{odd}), nullptr);
   EXPECT_EQ(devices_->disk(""), nullptr);
   EXPECT_EQ(devices_->getDiskMountedAt("/mnt/drive"), std::string_view{odd});
}

}  // namespace

}  // namespace StorageDevices
