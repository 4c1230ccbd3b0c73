#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

#include "runtime/model/FruConfig.h"
#include "runtime/model/PollInterval.h"
#include "runtime/model/StorageDevicesInfo.h"
#include "tests/support/ChangeRecorder.h"

namespace {

using Support::ChangeRecorder;

TEST(FruConfigTest, theApplianceFilesLieInEtcUnlessTheHostSaysOtherwise) {
   auto const config = Pelm::make<FruConfig>();
   EXPECT_EQ(config->etcDir(), "/etc");
   EXPECT_EQ(config->mountSourceDir(), "/etc");
   config->etcDirIs("/tmp/unit/etc");
   config->mountSourceDirIs("/run/mounts");
   EXPECT_EQ(config->etcDir(), "/tmp/unit/etc");
   EXPECT_EQ(config->mountSourceDir(), "/run/mounts");
}

TEST(FruConfigTest, expectedMountsIsASet) {
   auto const config = Pelm::make<FruConfig>();
   ChangeRecorder const changes{config->expectedMounts};
   EXPECT_TRUE(config->expectedMounts.empty());
   config->expectedMountsIs("drive2");
   config->expectedMountsIs("drive2");
   config->expectedMountsIs("usb1");
   EXPECT_EQ(config->expectedMounts.size(), 2U);
   EXPECT_EQ(changes.count(), 2U);
   EXPECT_TRUE(config->expectedMounts.contains("drive2"));
   config->expectedMountsDel("drive2");
   EXPECT_FALSE(config->expectedMounts.contains("drive2"));
   config->expectedMountsDelAll();
   EXPECT_TRUE(config->expectedMounts.empty());
}

TEST(FruConfigTest, aSerialLeadsToItsSensor) {
   auto const config = Pelm::make<FruConfig>();
   config->serialToSensorMapIs("KS0001", "DriveSensor1");
   config->serialToSensorMapIs("KS0001", "DriveSensor2");
   config->serialToSensorMapIs("MR7700", "DriveSensor3");
   EXPECT_EQ(*config->serialToSensorMap("KS0001"), "DriveSensor2");
   config->serialToSensorMapDel("KS0001");
   EXPECT_FALSE(config->serialToSensorMap("KS0001").has_value());
   config->serialToSensorMapDelAll();
   EXPECT_TRUE(config->serialToSensorMap.empty());
}

TEST(PollIntervalTest, isAMinuteUntilTheHostSetsIt) {
   auto const poll = Pelm::make<PollInterval>();
   ChangeRecorder const changes{poll->interval};
   EXPECT_EQ(poll->interval(), 60.0);
   poll->intervalIs(1.0);
   EXPECT_EQ(poll->interval(), 1.0);
   poll->intervalIs(86400);
   EXPECT_EQ(poll->interval(), 86400);
   EXPECT_EQ(changes.count(), 2U);
}

TEST(PollIntervalTest, lessThanASecondAndNeverAreRefusedAndChangeNothing) {
   auto const poll = Pelm::make<PollInterval>();
   ChangeRecorder const changes{poll->interval};
   for (double const refused :
        {0.999999, 0.0, -0.0, -60.0, std::numeric_limits<double>::quiet_NaN(),
         std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(), 1e-300})
      EXPECT_THROW(poll->intervalIs(refused), std::invalid_argument) << refused;
   EXPECT_EQ(poll->interval(), 60.0);
   EXPECT_EQ(changes.count(), 0U);
}

TEST(StorageDevicesInfoTest, aRecordOfANameIsMadeOnce) {
   auto const info = Pelm::make<StorageDevicesInfo>();
   ChangeRecorder const changes{info->fsList};
   info->fsListIs("KS0001", "/dev/sda", "ata2", true);
   auto const record = info->fsList("KS0001");
   ASSERT_NE(record, nullptr);
   EXPECT_EQ(record->name(), "KS0001");
   EXPECT_EQ(record->blockDevice(), "/dev/sda");
   EXPECT_EQ(record->interfaceAndAddress(), "ata2");
   EXPECT_TRUE(record->removable());
   info->fsListIs("KS0001", "/dev/sdb", "ata3", false);
   EXPECT_EQ(info->fsList("KS0001"), record);
   EXPECT_EQ(record->blockDevice(), "/dev/sda");
   EXPECT_EQ(changes.count(), 1U);
   info->fsListDel("KS0001");
   EXPECT_TRUE(info->fsList.empty());
   EXPECT_EQ(changes.count(), 2U);
}

TEST(StorageDevicesInfoTest, aRecordsFieldsAreEmptyAtFirstAndTellOfTheirChanges) {
   auto const record = Pelm::make<StorageDevErrorSyslogInfo>("KS0001", "/dev/sda", "ata2", false);
   EXPECT_EQ(record->kernelDevName(), "");
   EXPECT_EQ(record->model(), "");
   EXPECT_EQ(record->firmwareRevision(), "");
   EXPECT_EQ(record->syslogTimestamp(), 0.0);
   EXPECT_EQ(record->disconnectCount(), 0U);
   ChangeRecorder const disconnects{record->disconnectCount};
   record->kernelDevNameIs("sda");
   record->modelIs("Kestrel");
   record->firmwareRevisionIs("KF1.2");
   record->syslogTimestampIs(1.7e9);
   record->disconnectCountInc(1);
   record->disconnectCountInc(2);
   record->disconnectCountInc(0);
   EXPECT_EQ(record->kernelDevName(), "sda");
   EXPECT_EQ(record->model(), "Kestrel");
   EXPECT_EQ(record->firmwareRevision(), "KF1.2");
   EXPECT_EQ(record->syslogTimestamp(), 1.7e9);
   EXPECT_EQ(record->disconnectCount(), 3U);
   EXPECT_EQ(disconnects.count(), 2U);
}

}  // namespace
