#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

#include "runtime/Vorn/Dir.h"
#include "runtime/model/EmmcData.h"
#include "runtime/model/FruConfig.h"
#include "runtime/model/NvmeData.h"
#include "runtime/model/PollInterval.h"
#include "runtime/model/SmartData.h"
#include "runtime/model/StorageDevicesInfo.h"
#include "runtime/model/Temperature.h"
#include "tests/support/ChangeRecorder.h"

namespace {

using Support::ChangeRecorder;

TEST(FruConfigTest, PlacesTheApplianceFilesInEtcByDefault) {
   auto const config = Pelm::make<FruConfig>();
   EXPECT_EQ(config->etcDir(), "/etc");
   EXPECT_EQ(config->mountSourceDir(), "/etc");
   config->etcDirIs("/tmp/unit/etc");
   config->mountSourceDirIs("/run/mounts");
   EXPECT_EQ(config->etcDir(), "/tmp/unit/etc");
   EXPECT_EQ(config->mountSourceDir(), "/run/mounts");
}

TEST(FruConfigTest, KeepsExpectedMountsAsASet) {
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

TEST(FruConfigTest, MapsASerialToItsSensor) {
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

TEST(PollIntervalTest, IsAMinuteUntilTheHostSetsIt) {
   auto const poll = Pelm::make<PollInterval>();
   ChangeRecorder const changes{poll->interval};
   EXPECT_EQ(poll->interval(), 60.0);
   poll->intervalIs(1.0);
   EXPECT_EQ(poll->interval(), 1.0);
   poll->intervalIs(86400);
   EXPECT_EQ(poll->interval(), 86400);
   EXPECT_EQ(changes.count(), 2U);
}

TEST(PollIntervalTest, RefusesLessThanASecondAndInfinityUnchanged) {
   auto const poll = Pelm::make<PollInterval>();
   ChangeRecorder const changes{poll->interval};
   for (double const refused :
        {0.999999, 0.0, -0.0, -60.0, std::numeric_limits<double>::quiet_NaN(),
         std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(), 1e-300})
      EXPECT_THROW(poll->intervalIs(refused), std::invalid_argument) << refused;
   EXPECT_EQ(poll->interval(), 60.0);
   EXPECT_EQ(changes.count(), 0U);
}

TEST(StorageDevicesInfoTest, MakesARecordOnceAndReplacesItWhenItsArgumentsDiffer) {
   auto const info = Pelm::make<StorageDevicesInfo>();
   ChangeRecorder const changes{info->fsList};
   info->fsListIs("KS0001", "/dev/sda", "ata2", true);
   auto const record = info->fsList("KS0001");
   ASSERT_NE(record, nullptr);
   EXPECT_EQ(record->name(), "KS0001");
   EXPECT_EQ(record->blockDevice(), "/dev/sda");
   EXPECT_EQ(record->interfaceAndAddress(), "ata2");
   EXPECT_TRUE(record->removable());
   info->fsListIs("KS0001", "/dev/sda", "ata2", true);
   EXPECT_EQ(info->fsList("KS0001"), record);
   EXPECT_EQ(changes.count(), 1U);
   info->fsListIs("KS0001", "/dev/sdb", "ata2", true);
   EXPECT_EQ(info->fsList("KS0001")->blockDevice(), "/dev/sdb");
   info->fsListIs("KS0001", "/dev/sdb", "ata3", true);
   EXPECT_EQ(info->fsList("KS0001")->interfaceAndAddress(), "ata3");
   info->fsListIs("KS0001", "/dev/sdb", "ata3", false);
   EXPECT_FALSE(info->fsList("KS0001")->removable());
   EXPECT_EQ(changes.count(), 4U);
   EXPECT_EQ(record->blockDevice(), "/dev/sda") << "users of the old record keep it unchanged";
}

TEST(StorageDevicesInfoTest, DeletesRecordsOneByOneOrAllAtOnce) {
   auto const info = Pelm::make<StorageDevicesInfo>();
   for (char const * name : {"A", "B", "C"})
      info->fsListIs(name, "/dev/sda", "ata2", true);
   ChangeRecorder const changes{info->fsList};
   info->fsListDel("B");
   info->fsListDel("B");
   EXPECT_EQ(info->fsList.size(), 2U);
   info->fsListDelAll();
   EXPECT_TRUE(info->fsList.empty());
   EXPECT_EQ(changes.count(), 3U);
}

TEST(TemperatureConfigTest, ReplacesASensorOnlyWhenItsArgumentsDiffer) {
   auto const config = Pelm::make<Environment::Temperature::Config>();
   config->tempSensorIs("Drive", "the drive", 70.0, 80.0);
   ChangeRecorder const changes{config->tempSensor};
   auto const record = config->tempSensor("Drive");
   config->tempSensorIs("Drive", "the drive", 70.0, 80.0);
   EXPECT_EQ(config->tempSensor("Drive"), record);
   EXPECT_EQ(changes.count(), 0U);
   config->tempSensorIs("Drive", "a drive", 70.0, 80.0);
   config->tempSensorIs("Drive", "a drive", 71.0, 80.0);
   config->tempSensorIs("Drive", "a drive", 71.0, 81.0);
   EXPECT_EQ(changes.count(), 3U);
   EXPECT_EQ(config->tempSensor("Drive")->critical(), 81.0);
   config->tempSensorDelAll();
   EXPECT_TRUE(config->tempSensor.empty());
}

TEST(DirTest, DeletesItsChildrenOneByOneOrAllAtOnce) {
   auto const dir = Pelm::make<Vorn::Dir>();
   auto const child = Pelm::make<PollInterval>();
   for (char const * name : {"a", "b", "c"})
      dir->entityIs(name, child);
   EXPECT_EQ(dir->entityPtr("a"), child);
   dir->entityDel("a");
   EXPECT_FALSE(dir->entityPtr("a"));
   dir->entityDelAll();
   EXPECT_FALSE(dir->entityPtr("c"));
   EXPECT_EQ(child->useCount(), 1U);
}

// Records made of their name alone: the same name is the same record.
template <class Data>
void expectRecordsByName() {
   auto const data = Pelm::make<Data>();
   data->deviceDataIs("A");
   auto const record = data->deviceData("A");
   ASSERT_TRUE(record);
   EXPECT_EQ(record->name(), "A");
   data->deviceDataIs("A");
   EXPECT_EQ(data->deviceData("A"), record);
   data->deviceDataIs("B");
   data->deviceDataIs("C");
   data->deviceDataDel("A");
   EXPECT_FALSE(data->deviceData("A"));
   data->deviceDataDelAll();
   EXPECT_TRUE(data->deviceData.empty());
}

TEST(HealthDataTest, DeletesRecordsOneByOneOrAllAtOnce) {
   expectRecordsByName<StorageDevices::SmartData>();
   expectRecordsByName<StorageDevices::NvmeData>();
   expectRecordsByName<StorageDevices::EmmcData>();
}

TEST(StorageDevicesInfoTest, StartsWithEmptyFieldsAndNotifiesOfTheirChanges) {
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
