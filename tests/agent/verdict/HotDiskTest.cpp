// The rules about temperatures.
#include <gtest/gtest.h>

#include <cstdint>

#include "tests/agent/verdict/VerdictRulesTest.h"

namespace Agent {
namespace {

// A sensor that alarms: the monitor of the library writes its status.
class HotDiskTest : public VerdictRulesTest {
 protected:
   void degreesAre(std::int64_t degrees) { nvme().temperatureCelsiusIs({"temperature", degrees}); }

   Pelm::Ptr<StorageDevices::TempSensorSm> const monitor = StorageDevices::tempSensorSmFactory(
       entities.fruConfig, entities.sensors, entities.sensorStatus, entities.nvme, entities.smart);
};

TEST_F(HotDiskTest, ReportsCriticalTemperatureForTheSensorsAlarm) {
   diskIs(BusType::nvme);
   degreesAre(81);
   EXPECT_EQ(reasons(), "critical-temperature: critical temperature: 81 °C");
   EXPECT_EQ(word(), "failing");
}

TEST_F(HotDiskTest, DoesNotReportOverheatBesideCriticalTemperature) {
   diskIs(BusType::nvme);
   degreesAre(81);
   criticalWarningIs(2);
   EXPECT_EQ(reasons(), "critical-temperature: critical temperature: 81 °C");
}

TEST_F(HotDiskTest, ShowsTheSensorsTemperatureWhileAJumpWaitsForItsConfirmation) {
   diskIs(BusType::nvme);
   degreesAre(40);
   degreesAre(75);
   criticalWarningIs(2);
   EXPECT_EQ(reasons(), "overheat: high temperature: 40 °C");
}

TEST_F(HotDiskTest, ReportsTheAlarmOfASensorForOneDriveAlone) {
   char const another[] = "ANOTHER";
   entities.fruConfig->serialToSensorMapIs(another, "T1");
   diskIs(BusType::nvme);
   Support::DiskFields{.name = another, .mountPoint = "/mnt/other"}.writeTo(*entities.devices);
   entities.smart->deviceDataIs(another);
   entities.smart->deviceData(another)->reading.countInc();
   Pelm::Ptr<Environment::Temperature::TempSensorStatus> const status{
       dynamic_cast<Environment::Temperature::TempSensorStatus *>(
           entities.sensorStatus->entityPtr("T1").get())};
   status->alarmIs(Environment::Temperature::TempSensorStatus::Alarm::overheat);
   verdicts.evaluate();
   EXPECT_EQ(verdicts.disks().verdict(serial)->reasons().size() +
                 verdicts.disks().verdict(another)->reasons().size(),
             1U);
}

TEST_F(HotDiskTest, ReportsOverheatForTheSensorsAlarm) {
   diskIs(BusType::nvme);
   degreesAre(65);
   EXPECT_EQ(reasons(), "");
   degreesAre(71);
   EXPECT_EQ(reasons(), "overheat: high temperature: 71 °C");
   EXPECT_EQ(word(), "warning");
}

TEST_F(HotDiskTest, EndsOverheatWithTheRecordOfTheDrive) {
   diskIs(BusType::nvme);
   degreesAre(71);
   entities.nvme->deviceDataDel(serial);
   entities.smart->deviceDataDel(serial);
   EXPECT_EQ(reasons(), "");
}

TEST_F(VerdictRulesTest, ReportsOverheatForAnNvmeDrivesOwnLimits) {
   diskIs(BusType::nvme);
   nvme().temperatureCelsiusIs({"temperature", 66});
   criticalWarningIs(2);
   EXPECT_EQ(reasons(), "overheat: high temperature: 66 °C");
   EXPECT_EQ(word(), "warning");
}

TEST_F(VerdictRulesTest, ReportsOverheatWithoutADegreeWhereTheDriveReportsNone) {
   diskIs(BusType::nvme);
   criticalWarningIs(2);
   EXPECT_EQ(reasons(), "overheat: high temperature: the drive reports it");
}

}  // namespace
}  // namespace Agent
