#include "agent/documents/MonitorDocument.h"

#include <gtest/gtest.h>

#include <string>

#include "StorageDevices/Factories.h"
#include "tests/support/DiskFields.h"
#include "tests/support/DocumentText.h"
#include "tests/support/TempDir.h"
#include "tests/support/VirtualTimeTest.h"

namespace Agent {
namespace {

using Support::documentText;

class MonitorDocumentTest : public Support::VirtualTimeTest {
 protected:
   ~MonitorDocumentTest() override { MountPtMonitorHelper::creatorIs(nullptr); }

   void addSensor() const {
      entities.sensors->tempSensorIs("T1", "Drive 1", 70.0, 80.0);
      entities.fruConfig->serialToSensorMapIs("S1", "T1");
   }
   void read(std::int64_t degrees) const {
      entities.nvme->deviceDataIs("S1");
      entities.nvme->deviceData("S1")->temperatureCelsiusIs({"temperature", degrees});
   }
   Pelm::Ptr<StorageDevices::TempSensorSm> temperatureMonitor() const {
      return StorageDevices::tempSensorSmFactory(entities.fruConfig, entities.sensors, entities.sensorStatus,
                                                 entities.nvme, entities.smart);
   }
   std::string temperature(StorageDevices::TempSensorSm const * monitor) const {
      return documentText(temperatureJson(entities, monitor));
   }

   Entities entities;
};

TEST_F(MonitorDocumentTest, ShowsAnEmptyObjectForAMonitorThatDoesNotRun) {
   EXPECT_EQ(documentText(lifetimeChangesJson(nullptr)), "{}");
   EXPECT_EQ(documentText(mountPointsJson(nullptr)), "{}");
   EXPECT_EQ(temperature(nullptr), "{}");
   EXPECT_EQ(documentText(storageDevicesInfoJson(*entities.kernelErrors)), R"({"fsList":{}})");
}

TEST_F(MonitorDocumentTest, ShowsAFigureOfLifeOnceThereIsOne) {
   auto const monitor = StorageDevices::deviceLifetimeMonitorSmFactory(
       entities.devices, entities.emmc, entities.nvme, entities.smart, entities.ioStat);
   auto const text = [&] { return documentText(lifetimeChangesJson(monitor.get())); };
   EXPECT_EQ(text(), "{}");
   monitor->deviceLifetimeChangeIs("S\x1b");
   EXPECT_EQ(text(), R"({"S\u001B":{"numPastLogs":0,"firstDropDetected":false}})");
   auto const change = monitor->deviceLifetimeChange("S\x1b");
   change->lastValueIs(90);
   change->timestampIs(1.5);
   change->lastBytesWrittenIs(18446744073709551615U);
   change->numPastLogsIs(255);
   change->firstDropDetectedIs(true);
   EXPECT_EQ(text(),
             R"({"S\u001B":{"lastValue":90,"timestamp":1.5,)"
             R"("lastBytesWritten":18446744073709551615,"numPastLogs":255,"firstDropDetected":true}})");
}

TEST_F(MonitorDocumentTest, ShowsASensorByNameWithItsDrive) {
   addSensor();
   auto const monitor = temperatureMonitor();
   EXPECT_EQ(temperature(monitor.get()), R"({"T1":{"drive":"S1","overheat":70.0,"critical":80.0,)"
                                         R"("unrealisticTempChangeThreshold":20.0,"alarm":"none"}})");
   read(37);
   EXPECT_EQ(temperature(monitor.get()), R"({"T1":{"drive":"S1","temperature":37.0,"min":-40.0,"max":140.0,)"
                                         R"("overheat":70.0,"critical":80.0,)"
                                         R"("unrealisticTempChangeThreshold":20.0,"alarm":"none"}})");
}

TEST_F(MonitorDocumentTest, ShowsAnAlarmWhileTheDriveIsConnected) {
   addSensor();
   auto const monitor = temperatureMonitor();
   read(71);
   EXPECT_NE(temperature(monitor.get()).find(R"("temperature":71.0)"), std::string::npos);
   EXPECT_NE(temperature(monitor.get()).find(R"("alarm":"overheat")"), std::string::npos);
   read(81);
   EXPECT_NE(temperature(monitor.get()).find(R"("alarm":"critical")"), std::string::npos);
   entities.nvme->deviceDataDel("S1");
   std::string const gone = temperature(monitor.get());
   EXPECT_EQ(gone.find(R"("temperature")"), std::string::npos) << gone;
   EXPECT_NE(gone.find(R"("alarm":"none")"), std::string::npos) << gone;
}

TEST_F(MonitorDocumentTest, ShowsTheConnectedOneOfTwoDrivesOnASensor) {
   addSensor();
   entities.fruConfig->serialToSensorMapIs("S0", "T1");
   entities.fruConfig->serialToSensorMapIs("S2", "T1");
   auto const monitor = temperatureMonitor();
   read(37);
   EXPECT_NE(temperature(monitor.get()).find(R"("drive":"S1","temperature":37.0)"), std::string::npos);
}

TEST_F(MonitorDocumentTest, ShowsAMountPointWithItsTestOnceThereIsOne) {
   struct Helper final : public MountPtMonitorHelper {
      MountState mountState(Pelm::String const &) const override { return answer; }
      MountState answer;
   };
   auto helper = Pelm::make<Helper>();
   MountPtMonitorHelper::creatorIs([&] { return helper; });
   Support::TempDir const folder;
   Support::DiskFields{.name = "S1", .mountPoint = folder.string()}.writeTo(*entities.devices);
   auto const manager = StorageDevices::mountPtMonitorManagerSmFactory(entities.devices);
   auto const text = [&] { return documentText(mountPointsJson(manager.get())); };
   std::string const start = "{\"" + folder.string() + "\":{";
   EXPECT_EQ(text(), start + R"("initialMountFailuresRemaining":12}})");
   Vorn::Host::turn();
   EXPECT_EQ(text(), start + R"("initialMountFailuresRemaining":11}})");
   helper->answer = {true, false, "/dev/sda1", 512};
   auto const monitor = manager->mountPtMonitorSm(folder.string().c_str());
   ASSERT_TRUE(eventually([&] { return monitor->fsHealthSm() != nullptr; }));
   EXPECT_EQ(text(), start + R"("device":"/dev/sda1","blkSize":512,"initialMountFailuresRemaining":0,)" +
                         R"("fsHealth":{"state":"writeTest","running":true,"writeTestOk":false,)" +
                         R"("readTestOk":false,"nonSyslogErrorCount":0,"eagainErrorCount":0,)" +
                         R"("utilThresholdExceeded":false}}})");
}

TEST_F(MonitorDocumentTest, ShowsARecordForKernelErrorsWhole) {
   auto const & info = *entities.kernelErrors;
   entities.kernelErrors->fsListIs("S1", "/dev/sda", "ata1", false);
   auto const record = info.fsList("S1");
   record->kernelDevNameIs("sda");
   record->modelIs("Model");
   record->firmwareRevisionIs("F1");
   record->syslogTimestampIs(1700000000.5);
   record->disconnectCountInc(2);
   EXPECT_EQ(
       documentText(storageDevicesInfoJson(info)),
       R"({"fsList":{"S1":{"blockDevice":"/dev/sda","interfaceAndAddress":"ata1","kernelDevName":"sda",)"
       R"("model":"Model","firmwareRevision":"F1","removable":false,"syslogTimestamp":1700000000.5,)"
       R"("disconnectCount":2}}})");
}

TEST(EntitiesTest, MatchesTheConfiguration) {
   Config config;
   config.pollInterval = 30;
   config.sensors["T1"] = {"Drive 1", 70, 80};
   config.appliance.sensors["S1"] = "T1";
   config.appliance.mountSourceDir = "/x";
   Entities const entities = entitiesOf(config);
   EXPECT_EQ(entities.pollInterval->interval().value(), 30);
   EXPECT_EQ(entities.sensors->tempSensor("T1")->overheat().value(), 70);
   EXPECT_EQ(entities.sensors->tempSensor("T1")->critical().value(), 80);
   EXPECT_EQ(entities.sensors->tempSensor("T1")->description(), "Drive 1");
   EXPECT_EQ(entities.fruConfig->serialToSensorMap("S1"), Pelm::String{"T1"});
   EXPECT_EQ(entities.fruConfig->mountSourceDir(), "/x");
   EXPECT_TRUE(entities.fruConfig->expectedMounts.contains("flash"));
}

}  // namespace
}  // namespace Agent
