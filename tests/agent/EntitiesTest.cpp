#include "agent/Entities.h"

#include <gtest/gtest.h>

#include "StorageDevices/Factories.h"
#include "StorageDevices/TempSensorSm.h"
#include "tests/support/VirtualTimeTest.h"

namespace {

using Agent::Config;
using Environment::Temperature::TempSensorStatus;

Config configWith(Config::Sensor const & sensor) {
   Config config;
   config.sensors = {{"Temp1", sensor}, {"Temp2", {"", 60, 70}}};
   config.appliance.sensors = {{"SN1", "Temp1"}, {"SN2", "Temp2"}};
   return config;
}

class ReloadedEntitiesTest : public Support::VirtualTimeTest {
 protected:
   void reload(Config const & now) {
      entitiesAre(entities, config, now);
      config = now;
   }
   // Null when there is none.
   TempSensorStatus * status(char const * sensor) const {
      return dynamic_cast<TempSensorStatus *>(entities.sensorStatus->entityPtr(sensor).get());
   }
   void heat(char const * serial, std::int64_t celsius) const {
      StorageDevices::SmartAttr attr;
      attr.name = "Temperature_Celsius";
      attr.reportedValue = celsius;
      if (!entities.smart->deviceData.contains(serial))
         entities.smart->deviceDataIs(serial);
      entities.smart->deviceData(serial)->temperatureCelsiusIs(StorageDevices::OptionalSmartAttr::from(attr));
   }
   TempSensorStatus::Alarm alarm(char const * sensor) const { return status(sensor)->alarm(); }

   Config config = configWith({"", 60, 70});
   Agent::Entities entities = Agent::entitiesOf(config);
   Pelm::Ptr<StorageDevices::TempSensorSm> monitor = StorageDevices::tempSensorSmFactory(
       entities.fruConfig, entities.sensors, entities.sensorStatus, entities.nvme, entities.smart);
};

TEST_F(ReloadedEntitiesTest, AppliesAnotherPollIntervalAtOnce) {
   Config now = config;
   now.pollInterval = 7;
   reload(now);
   EXPECT_EQ(entities.pollInterval->interval(), Vorn::Seconds{7});
}

TEST_F(ReloadedEntitiesTest, AddsAndRemovesExpectedMounts) {
   Config now = config;
   now.appliance.expectedMounts = {"drive", "data"};
   reload(now);
   auto const & mounts = entities.fruConfig->expectedMounts;
   EXPECT_TRUE(mounts.contains("drive") && mounts.contains("data"));
   EXPECT_FALSE(mounts.contains("flash"));
}

TEST_F(ReloadedEntitiesTest, AppliesTheNewLimitsOfASensorToItsAlarm) {
   heat("SN1", 65);
   ASSERT_EQ(alarm("Temp1"), TempSensorStatus::Alarm::overheat);
   reload(configWith({"", 80, 90}));
   EXPECT_EQ(alarm("Temp1"), TempSensorStatus::Alarm::none);
   reload(configWith({"", 40, 50}));
   EXPECT_EQ(alarm("Temp1"), TempSensorStatus::Alarm::critical);
}

TEST_F(ReloadedEntitiesTest, KeepsTheStatusOfAnUnchangedSensor) {
   heat("SN2", 65);
   Pelm::Ptr<TempSensorStatus> const before{status("Temp2")};
   reload(configWith({"", 80, 90}));
   EXPECT_EQ(status("Temp2"), before.get());
}

TEST_F(ReloadedEntitiesTest, ShowsTheTemperatureOfADriveAtItsNewSensor) {
   heat("SN1", 65);
   Config now = config;
   now.sensors.erase("Temp1");
   now.sensors["Temp3"] = {"", 60, 70};
   now.appliance.sensors = {{"SN1", "Temp3"}};
   reload(now);
   EXPECT_EQ(status("Temp1"), nullptr);
   EXPECT_EQ(status("Temp2"), nullptr);
   ASSERT_NE(status("Temp3"), nullptr);
   EXPECT_EQ(alarm("Temp3"), TempSensorStatus::Alarm::overheat);
}

TEST_F(ReloadedEntitiesTest, ForgetsOnlyRecordsOfDisksThatAreGone) {
   entities.devices->diskIs("HERE", EntityMib::StorageType::sataSsd, "/dev/sda", "/mnt/drive", "", "", false,
                            StorageDevices::ConnectedDisk::BusType::sata, "1", 1);
   for (char const * const serial : {"GONE1", "HERE", "GONE2"})
      entities.kernelErrors->fsListIs(serial, "/dev/sda", "ata1", false);
   EXPECT_EQ(forgetGoneDisks(entities), 2U);
   EXPECT_EQ(entities.kernelErrors->fsList.size(), 1U);
   EXPECT_TRUE(entities.kernelErrors->fsList.contains("HERE"));
   EXPECT_EQ(forgetGoneDisks(entities), 0U);
}

}  // namespace
