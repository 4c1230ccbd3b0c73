#include "StorageDevices/TempSensorSm.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/StorageDevices/TempSensorSmTest.h"
#include "tests/support/ChangeRecorder.h"
#include "tests/support/TraceRecorder.h"

namespace StorageDevices {

namespace {

TEST_F(TempSensorSmTest, ShowsTheTemperatureOfTheRecordAtTheStart) {
   smart(35);
   start();
   EXPECT_EQ(shown(), 35);
   EXPECT_EQ(threshold(), 20);
   EXPECT_EQ(status()->minTemperature(), Environment::Temperature::Celsius{-40});
   EXPECT_EQ(status()->maxTemperature(), Environment::Temperature::Celsius{140});
   EXPECT_EQ(status()->alarm(), Alarm::none);
}

TEST_F(TempSensorSmTest, TracesWhichDriveASensorShows) {
   Support::TraceRecorder const traces{{"StorageTempSensorSm", 7}};
   start();
   std::vector<Support::TraceRecorder::Line> const expected = {
       {"StorageTempSensorSm", 2, " sensor DriveTemp1 shows the temperature of S1"}};
   EXPECT_EQ(traces.lines(), expected);
}

TEST_F(TempSensorSmTest, ShowsNoTemperatureWithoutAReading) {
   start();
   ASSERT_TRUE(status());
   EXPECT_FALSE(status()->temperature());
   smart_->deviceDataIs("S1");
   EXPECT_FALSE(status()->temperature());
   smart(35);
   EXPECT_EQ(shown(), 35);
}

TEST_F(TempSensorSmTest, SetsTheThresholdToTheDifferenceOfTwoSmartReadings) {
   start();
   smart(35);
   EXPECT_EQ(threshold(), 20);
   Support::ChangeRecorder const readings{status()->temperature};
   smart(80);
   EXPECT_EQ(threshold(), 45);
   ASSERT_EQ(readings.count(), 1U);
   EXPECT_EQ(shown(), 80);
   smart(79);
   EXPECT_EQ(threshold(), 1);
}

TEST_F(TempSensorSmTest, PublishesNothingForTheSameReading) {
   start();
   smart(35);
   Support::ChangeRecorder const readings{status()->temperature};
   smart(35);
   EXPECT_EQ(readings.count(), 0U);
   SmartAttr attr = *smart_->deviceData("S1")->temperatureCelsius();
   attr.rawString = "35 (Min/Max 20/60)";
   smart_->deviceData("S1")->temperatureCelsiusIs(OptionalSmartAttr::from(attr));
   EXPECT_EQ(threshold(), 0) << "the field changed, its degrees did not";
   EXPECT_EQ(readings.count(), 0U);
   EXPECT_EQ(shown(), 35);
}

TEST_F(TempSensorSmTest, ReadsAnNvmeDriveFromItsSmartLogOnly) {
   start();
   nvme(40);
   EXPECT_EQ(shown(), 40);
   smart(90);
   EXPECT_EQ(shown(), 40);
   nvme(45);
   EXPECT_EQ(shown(), 45);
   EXPECT_EQ(threshold(), 20);
}

TEST_F(TempSensorSmTest, KeepsTheThresholdOfAnNvmeDriveAtASmartReading) {
   start();
   nvme(40);
   smart(90);
   smart(30);
   EXPECT_EQ(threshold(), 20);
   EXPECT_EQ(shown(), 40);
}

TEST_F(TempSensorSmTest, FollowsRecordsOfBeforeTheStart) {
   config_->tempSensorIs("DriveTemp2", "Drive 2", 70.0, 80.0);
   fruConfig_->serialToSensorMapIs("S2", "DriveTemp2");
   nvme(40);
   smart(30, "S2");
   start();
   nvme(41);
   smart(31, "S2");
   EXPECT_EQ(shown("DriveTemp1"), 41);
   EXPECT_EQ(shown("DriveTemp2"), 31);
}

TEST_F(TempSensorSmTest, IgnoresAnNvmeRecordThatIsGone) {
   start();
   nvme(40);
   Pelm::Ptr<DeviceNvmeData> const gone = nvme_->deviceData("S1");
   nvme_->deviceDataDel("S1");
   smart(35);
   smart(40);
   EXPECT_EQ(threshold(), 5);
   gone->temperatureCelsiusIs({"temperature", 50});
   EXPECT_EQ(threshold(), 5);
   EXPECT_EQ(shown(), 40);
}

TEST_F(TempSensorSmTest, ShowsNothingForAnNvmeRecordNeverRead) {
   smart(90);
   nvme_->deviceDataIs("S1");
   start();
   EXPECT_FALSE(status()->temperature());
}

TEST_F(TempSensorSmTest, IgnoresASmartRecordThatIsGone) {
   smart(30);
   start();
   Pelm::Ptr<DeviceSmartData> const gone = smart_->deviceData("S1");
   smart_->deviceDataDel("S1");
   nvme(40);
   nvme(75);
   gone->temperatureCelsiusIs({});
   EXPECT_EQ(shown(), 40) << "the delayed reading was not read again";
}

TEST_F(TempSensorSmTest, DelaysAnNvmeJumpUntilASecondReadingAgrees) {
   start();
   nvme(40);
   nvme(75);
   EXPECT_EQ(shown(), 40);
   nvme(74);
   EXPECT_EQ(shown(), 74);
}

TEST_F(TempSensorSmTest, ShowsAJumpThatStandsForFiveMinutes) {
   start();
   nvme(40);
   nvme(75);
   Vorn::Host::runFor(299);
   EXPECT_EQ(shown(), 40);
   Vorn::Host::runFor(2);
   EXPECT_EQ(shown(), 75);
   EXPECT_EQ(status()->alarm(), Alarm::overheat);
   nvme(60);
   EXPECT_EQ(shown(), 60) << "what was believed is what the next is compared with";
}

TEST_F(TempSensorSmTest, NeverShowsAJumpThatIsContradicted) {
   start();
   nvme(40);
   nvme(75);
   Vorn::Host::runFor(200);
   nvme(41);
   Support::ChangeRecorder const readings{status()->temperature};
   Vorn::Host::runFor(10000);
   EXPECT_EQ(readings.count(), 0U);
   EXPECT_EQ(shown(), 41);
}

TEST_F(TempSensorSmTest, NeverShowsAJumpOfAnNvmeDriveThatIsGone) {
   start();
   nvme(40);
   nvme(90);
   nvme_->deviceDataDel("S1");
   Vorn::Host::runFor(1000);
   EXPECT_EQ(shown(), 40);
   EXPECT_EQ(status()->alarm(), Alarm::none);
}

TEST_F(TempSensorSmTest, NeverShowsAJumpOfASmartDriveThatIsGone) {
   start();
   smart(40);
   smart_->deviceData("S1")->temperatureCelsiusIs({});
   smart(90);
   EXPECT_EQ(shown(), 40) << "further than the usual threshold";
   smart_->deviceDataDel("S1");
   Vorn::Host::runFor(1000);
   EXPECT_EQ(shown(), 40);
   EXPECT_EQ(status()->alarm(), Alarm::none);
}

TEST_F(TempSensorSmTest, ShowsAJumpOfAnNvmeDriveWhoseSmartRecordIsGone) {
   smart(30);
   start();
   nvme(40);
   nvme(75);
   smart_->deviceDataDel("S1");
   Vorn::Host::runFor(301);
   EXPECT_EQ(shown(), 75);
}

TEST_F(TempSensorSmTest, ShowsADriveThatComesBackAgain) {
   start();
   smart(35);
   smart_->deviceDataDel("S1");
   smart(50);
   EXPECT_EQ(shown(), 50);
   nvme(52);
   nvme_->deviceDataDel("S1");
   nvme(54);
   EXPECT_EQ(shown(), 54);
}

TEST_F(TempSensorSmTest, ReadsAFieldThatComesBackWithTheUsualThreshold) {
   start();
   smart(35);
   smart(39);
   smart_->deviceData("S1")->temperatureCelsiusIs({});
   EXPECT_EQ(shown(), 39);
   smart(45);
   EXPECT_EQ(threshold(), 20);
   EXPECT_EQ(shown(), 45);
}

TEST_F(TempSensorSmTest, TracesANewValueWithoutTheOldOneAsAnError) {
   smart(35);
   start();
   SmartAttr const attr;
   EXPECT_THROW(monitor_->updateTempSensor("S1", OptionalSmartAttr::from(attr), {}), Vorn::BadOptionalAccess);
}

TEST_F(TempSensorSmTest, IgnoresEventsAsAZombie) {
   smart(35);
   start();
   monitor_->vornDoZombieReactors(true);
   smart(36);
   fruConfig_->serialToSensorMapIs("S2", "DriveTemp2");
   EXPECT_EQ(shown(), 35);
   EXPECT_FALSE(status("DriveTemp2"));
}

TEST_F(TempSensorSmTest, WatchesNoFurtherRecordsAsAZombie) {
   nvme(40);
   start();
   monitor_->vornDoZombieReactors(true);
   nvme(41);
   EXPECT_EQ(shown(), 40);
   nvme_->deviceDataDel("S1");
   nvme_->deviceDataIs("S1");
   nvme(42);
   nvme_->deviceDataDel("S1");
   smart(43);
   EXPECT_EQ(shown(), 40);
}

}  // namespace

}  // namespace StorageDevices
