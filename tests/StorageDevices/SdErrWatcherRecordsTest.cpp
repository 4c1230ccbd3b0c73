// The records of the watch: one for each disk that is or was connected.
#include <gtest/gtest.h>

#include "tests/StorageDevices/SdErrWatcherSmTest.h"

namespace StorageDevices {

namespace {

TEST_F(SdErrWatcherSmTest, ReconcilesTheDisksFirstThenTheRecords) {
   info_->fsListIs("gone", "/dev/sdx", "ata9", false);
   start();
   EXPECT_EQ(traces_.texts(7), (Texts{"handleDeviceAddRem add KS0001 ata2 to dev list",
                                      "handleDeviceAddRem add VT01 usb 2-1 to dev list",
                                      "handleDeviceAddRem modify KS0001 to dev list",
                                      "handleDeviceAddRem modify VT01 to dev list"}));
   EXPECT_EQ(record("gone")->disconnectCount(), 1U);
}

TEST_F(SdErrWatcherSmTest, IgnoresANameThatNobodyHas) {
   start();
   traces_.clear();
   watcher_->handleDeviceAddRem("nobody");
   EXPECT_EQ(info_->fsList.size(), 2U);
   EXPECT_TRUE(traces_.lines().empty());
}

TEST_F(SdErrWatcherSmTest, RecordsConnectedDisksWithAllThatAMessageNeeds) {
   start();
   ASSERT_TRUE(record("KS0001"));
   EXPECT_EQ(record("KS0001")->blockDevice(), "/dev/sda");
   EXPECT_EQ(record("KS0001")->interfaceAndAddress(), "ata2");
   EXPECT_EQ(record("KS0001")->kernelDevName(), "sda");
   EXPECT_EQ(record("KS0001")->model(), "Kestrel_S2");
   EXPECT_EQ(record("KS0001")->firmwareRevision(), "KF1.2");
   EXPECT_FALSE(record("KS0001")->removable());
   EXPECT_EQ(record("KS0001")->syslogTimestamp(), 0);
   EXPECT_EQ(record("VT01")->interfaceAndAddress(), "usb 2-1");
   EXPECT_TRUE(record("VT01")->removable());
   EXPECT_EQ(traces_.count(7, "handleDeviceAddRem add KS0001 ata2 to dev list"), 1);
}

TEST_F(SdErrWatcherSmTest, RecordsDisksThatConnectLater) {
   start();
   DiskFields{.name = "LATER", .blockDevice = "/dev/sdc", .devAddress = "3"}.writeTo(*devices_);
   ASSERT_TRUE(record("LATER"));
   EXPECT_EQ(record("LATER")->blockDevice(), "/dev/sdc");
   EXPECT_EQ(record("LATER")->kernelDevName(), "sdc");
   EXPECT_EQ(record("LATER")->model(), "Kestrel_S2");
   EXPECT_EQ(record("LATER")->firmwareRevision(), "KF1.2");
}

TEST_F(SdErrWatcherSmTest, DeletesTheRecordOfARemovedRemovableDiskAndCountsAFixedOne) {
   start();
   devices_->diskDel("VT01");
   devices_->diskDel("KS0001");
   EXPECT_FALSE(record("VT01"));
   ASSERT_TRUE(record("KS0001"));
   EXPECT_EQ(record("KS0001")->disconnectCount(), 1U);
   sata_.writeTo(*devices_);
   devices_->diskDel("KS0001");
   EXPECT_EQ(record("KS0001")->disconnectCount(), 2U);
}

TEST_F(SdErrWatcherSmTest, KeepsTheDayOfADiskThatComesBackAndRefreshesItsRecord) {
   start();
   line("ata2: hard resetting link");
   fixedDiskBecomes({.blockDevice = "/dev/sdc", .model = "other", .firmwareRevision = "KF2"});
   EXPECT_EQ(record("KS0001")->kernelDevName(), "sdc");
   EXPECT_EQ(record("KS0001")->firmwareRevision(), "KF2");
   EXPECT_EQ(record("KS0001")->model(), "Kestrel_S2");
   EXPECT_EQ(traces_.texts(7).back(), "handleDeviceAddRem modify KS0001 to dev list");
   line("blk_update_request: I/O error, dev sdc, sector 1");
   EXPECT_EQ(logs_.messages().size(), 1U);
}

TEST_F(SdErrWatcherSmTest, ReconcilesRecordsOfAnEarlierRunWithTheDisksAfterTheStart) {
   info_->fsListIs("gone fixed", "/dev/sdx", "ata9", false);
   info_->fsListIs("gone stick", "/dev/sdy", "usb 9-9", true);
   info_->fsListIs("KS0001", "/dev/sda", "ata2", false);
   start();
   EXPECT_EQ(record("gone fixed")->disconnectCount(), 1U);
   EXPECT_FALSE(record("gone stick"));
   EXPECT_EQ(record("KS0001")->kernelDevName(), "sda");
   EXPECT_EQ(info_->fsList.size(), 3U);
}

}  // namespace

}  // namespace StorageDevices
