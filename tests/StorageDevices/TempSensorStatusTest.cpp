// The environment model itself: what a sensor believes, and its alarm.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "StorageDevices/TempSensorSm.h"
#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {

namespace {

using Environment::Temperature::TempSensorStatus;

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

TEST_F(TempSensorStatusTest, ComparesAllOfAConfiguration) {
   using Environment::Temperature::TempSensorConfig;
   EXPECT_TRUE(config_->isEq(TempSensorConfig{"T", "a sensor", 70.0, 80.0}));
   EXPECT_FALSE(config_->isEq(TempSensorConfig{"U", "a sensor", 70.0, 80.0}));
   EXPECT_FALSE(config_->isEq(TempSensorConfig{"T", "another", 70.0, 80.0}));
   EXPECT_FALSE(config_->isEq(TempSensorConfig{"T", "a sensor", 71.0, 80.0}));
   EXPECT_FALSE(config_->isEq(TempSensorConfig{"T", "a sensor", 70.0, 81.0}));
}

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
