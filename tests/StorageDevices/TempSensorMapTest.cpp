// Which drive a sensor shows: the map, and its changes.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/StorageDevices/TempSensorSmTest.h"

namespace StorageDevices {

namespace {

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

}  // namespace

}  // namespace StorageDevices
