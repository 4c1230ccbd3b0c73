#include "StorageDevices/TempSensorSm.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "StorageDevices/Factories.h"
#include "tests/support/ChangeRecorder.h"
#include "tests/support/TraceRecorder.h"
#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {

namespace {

using Environment::Temperature::TempSensorStatus;
using Alarm = TempSensorStatus::Alarm;

class TempSensorSmTest : public Support::VirtualTimeTest {
 protected:
   TempSensorSmTest() {
      config_->tempSensorIs("DriveTemp1", "Drive 1", 70.0, 80.0);
      config_->tempSensorIs("DriveTemp2", "Drive 2", 70.0, 80.0);
      fruConfig_->serialToSensorMapIs("S1", "DriveTemp1");
   }

   void start() { monitor_ = tempSensorSmFactory(fruConfig_, config_, dir_, nvme_, smart_); }
   void smart(std::int64_t degrees, char const * serial = "S1") const {
      smart_->deviceDataIs(serial);
      SmartAttr attr;
      attr.id = 194;
      attr.value = 60;
      attr.reportedValue = degrees;
      smart_->deviceData(serial)->temperatureCelsiusIs(OptionalSmartAttr::from(attr));
   }
   void nvme(std::int64_t degrees) const {
      nvme_->deviceDataIs("S1");
      nvme_->deviceData("S1")->temperatureCelsiusIs({"temperature", degrees});
   }
   TempSensorStatus * status(char const * sensor = "DriveTemp1") const {
      return dynamic_cast<TempSensorStatus *>(dir_->entityPtr(sensor).get());
   }
   // -999: no status, or none read.
   double shown(char const * sensor = "DriveTemp1") const {
      return status(sensor) && status(sensor)->temperature() ? status(sensor)->temperature()->value() : -999;
   }
   double threshold() const {
      return monitor_->temperatureWrapper("S1")->unrealisticTempChangeThreshold().value();
   }

   Pelm::Ptr<FruConfig> fruConfig_ = Pelm::make<FruConfig>();
   Pelm::Ptr<Environment::Temperature::Config> config_ = Pelm::make<Environment::Temperature::Config>();
   Pelm::Ptr<Vorn::Dir> dir_ = Pelm::make<Vorn::Dir>();
   Pelm::Ptr<NvmeData> nvme_ = Pelm::make<NvmeData>();
   Pelm::Ptr<SmartData> smart_ = Pelm::make<SmartData>();
   Pelm::Ptr<TempSensorSm> monitor_;
};

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

TEST_F(TempSensorSmTest, MakesSensorsOnlyForDrivesWithAConfiguredOne) {
   fruConfig_->serialToSensorMapIs("S2", "");
   fruConfig_->serialToSensorMapIs("S3", "Unknown");
   start();
   smart(35, "S2");
   smart(35, "S3");
   smart(35, "S4");
   EXPECT_EQ(dir_->entity.size(), 1U);
   EXPECT_EQ(monitor_->temperatureWrapper.size(), 1U);
}

TEST_F(TempSensorSmTest, TreatsASensorWithoutANameAsNone) {
   config_->tempSensorIs("", "nameless", 70.0, 80.0);
   fruConfig_->serialToSensorMapIs("S1", "");
   smart(35);
   start();
   EXPECT_TRUE(dir_->entity.empty());
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

TEST_F(TempSensorSmTest, FollowsAChangedMap) {
   smart(35);
   smart(60, "S2");
   start();
   fruConfig_->serialToSensorMapIs("S2", "DriveTemp2");
   EXPECT_EQ(shown("DriveTemp2"), 60);
   fruConfig_->serialToSensorMapDel("S1");
   EXPECT_FALSE(status());
   smart(36);
   EXPECT_FALSE(status());
   fruConfig_->serialToSensorMapIs("S2", "DriveTemp1");
   EXPECT_EQ(shown("DriveTemp1"), 60);
   EXPECT_FALSE(status("DriveTemp2"));
}

TEST_F(TempSensorSmTest, AllowsASensorToPassToAnotherDriveBeforeTheFirstLeavesIt) {
   smart(35);
   smart(60, "S2");
   start();
   fruConfig_->serialToSensorMapIs("S2", "DriveTemp1");
   fruConfig_->serialToSensorMapDel("S1");
   EXPECT_EQ(shown(), 60);
   smart(61, "S2");
   EXPECT_EQ(shown(), 61);
   smart(36);
   EXPECT_EQ(shown(), 61);
}

TEST_F(TempSensorSmTest, ShowsNoTemperatureWhenASensorPassesToADriveWithoutAReading) {
   smart(35);
   start();
   fruConfig_->serialToSensorMapIs("S2", "DriveTemp1");
   smart(36);
   fruConfig_->serialToSensorMapDel("S1");
   ASSERT_TRUE(status());
   EXPECT_FALSE(status()->temperature());
}

TEST_F(TempSensorSmTest, ForgetsASensorThatLeavesTheMap) {
   start();
   fruConfig_->serialToSensorMapDel("S1");
   EXPECT_TRUE(monitor_->temperatureWrapper.empty());
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

TEST_F(TempSensorSmTest, MakesSensorsInTheOrderOfTheMap) {
   fruConfig_->serialToSensorMapDelAll();
   std::vector<std::string> expected;
   for (int const i : {7, 2, 9, 1, 8, 3}) {
      std::string const number = std::to_string(i);
      config_->tempSensorIs("T" + number, "a sensor", 70.0, 80.0);
      fruConfig_->serialToSensorMapIs("S" + number, "T" + number);
   }
   for (auto const & [serial, sensor] : fruConfig_->serialToSensorMap)
      expected.push_back(sensor.str());
   start();
   std::vector<std::string> made;
   for (auto const & [name, entity] : dir_->entity)
      made.push_back(name.str());
   EXPECT_EQ(made, expected);
}

// Lets go of the machine when it makes a wrapper, then has more temperatures.
struct SensorDropper {
   void handleWrapper() {
      reactor.notifierIs(nullptr);
      *monitor = nullptr;
      then();
   }
   Pelm::Ptr<TempSensorSm> * monitor;
   std::function<void()> then;
   Vorn::NotifieeConst reactor;
};

TEST_F(TempSensorSmTest, IgnoresFurtherChangesWhenDroppedWithinItsOwn) {
   smart(35);
   nvme_->deviceDataIs("S2");
   start();
   SensorDropper dropper{&monitor_,
                         [&] {
                            smart(36);
                            nvme_->deviceDataIs("S3");
                            fruConfig_->serialToSensorMapIs("S2", "DriveTemp2");
                         },
                         {}};
   dropper.reactor.notifierIs(monitor_);
   dropper.reactor.on<&SensorDropper::handleWrapper>(monitor_->temperatureWrapper, dropper);
   dropper.reactor.hasNotificationActiveIs(true);
   monitor_->createTempStatus("S1");
   EXPECT_FALSE(monitor_);
   EXPECT_EQ(shown(), -999) << "the new sensor of S1 does not get its reading";
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

// The environment model itself.
class TempSensorStatusTest : public Support::VirtualTimeTest {
 protected:
   double read(double degrees) {
      updateEnvTempSensorStatus(-40.0, 140.0, degrees, false, *config_, *status_, *wrapper_);
      return status_->temperature() ? status_->temperature()->value() : -999;
   }
   std::string alarmAt(double degrees) {
      wrapper_->unrealisticTempChangeThresholdIs(1000.0);
      read(degrees);
      return status_->alarm().stringValue().str();
   }

   Pelm::Ptr<Environment::Temperature::TempSensorConfig const> config_ =
       Pelm::make<Environment::Temperature::TempSensorConfig const>("T", "a sensor", 70.0, 80.0);
   Pelm::Ptr<Vorn::Dir> dir_ = Pelm::make<Vorn::Dir>();
   Pelm::Ptr<TempSensorStatus> status_ = createEnvTempSensorStatus(dir_, config_);
   Pelm::Ptr<Environment::Temperature::TemperatureWrapper> wrapper_ =
       Pelm::make<Environment::Temperature::TemperatureWrapper>("T");
};

TEST_F(TempSensorStatusTest, IgnoresReadingsOutsideOfTheRange) {
   EXPECT_EQ(read(-40.5), -999);
   EXPECT_EQ(read(-40), -40);
   wrapper_->unrealisticTempChangeThresholdIs(1000.0);
   EXPECT_EQ(read(140), 140);
   EXPECT_EQ(read(140.5), 140);
   EXPECT_EQ(read(std::nan("")), 140);
}

TEST_F(TempSensorStatusTest, RequiresTheNextReadingToAgreeWithADelayedOne) {
   EXPECT_EQ(read(30), 30);
   EXPECT_EQ(read(51), 30);
   EXPECT_EQ(read(90), 30) << "further again from both";
   EXPECT_EQ(read(32), 32) << "back to normal";
   EXPECT_EQ(read(90), 32) << "the delayed reading is forgotten";
   EXPECT_EQ(read(75), 75);
}

TEST_F(TempSensorStatusTest, ShowsAForcedReadingWithoutAgreement) {
   EXPECT_EQ(read(30), 30);
   updateEnvTempSensorStatus(-40.0, 140.0, 90, true, *config_, *status_, *wrapper_);
   EXPECT_EQ(status_->temperature()->value(), 90);
   updateEnvTempSensorStatus(-40.0, 140.0, 150, true, *config_, *status_, *wrapper_);
   EXPECT_EQ(status_->temperature()->value(), 90) << "but must be in the range";
}

TEST_F(TempSensorStatusTest, PublishesTheRangeOfAReadingOutsideOfIt) {
   read(200);
   EXPECT_EQ(status_->minTemperature(), Environment::Temperature::Celsius{-40});
   EXPECT_EQ(status_->maxTemperature(), Environment::Temperature::Celsius{140});
}

TEST_F(TempSensorStatusTest, AcceptsAReadingAtTheThreshold) {
   EXPECT_EQ(read(30), 30);
   EXPECT_EQ(read(50), 50);
}

TEST_F(TempSensorStatusTest, AlarmsFromTheConfiguredTemperaturesAndEndsTwoDegreesBelow) {
   EXPECT_EQ(alarmAt(69.9), "none");
   EXPECT_EQ(alarmAt(70), "overheat");
   EXPECT_EQ(alarmAt(68), "overheat");
   EXPECT_EQ(alarmAt(67.9), "none");
   EXPECT_EQ(alarmAt(69), "none");
   EXPECT_EQ(alarmAt(80), "critical");
   EXPECT_EQ(alarmAt(78), "critical");
   EXPECT_EQ(alarmAt(77.9), "overheat");
   EXPECT_EQ(alarmAt(79), "overheat");
   EXPECT_EQ(alarmAt(95), "critical");
   EXPECT_EQ(alarmAt(69), "overheat") << "critical was overheat too";
   EXPECT_EQ(alarmAt(95), "critical");
   EXPECT_EQ(alarmAt(20), "none");
}

}  // namespace

}  // namespace StorageDevices
