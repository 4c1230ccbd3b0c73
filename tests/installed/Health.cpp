#include "Host.h"
#include "StorageDevices/DeviceLifetimeMonitorSm.h"
#include "StorageDevices/EmmcDataMonitorSm.h"
#include "StorageDevices/Factories.h"
#include "StorageDevices/IOStatSm.h"
#include "StorageDevices/NvmeDataMonitorSm.h"
#include "StorageDevices/SmartDataMonitorSm.h"
#include "StorageDevices/TempSensorSm.h"
#include "StorageDevices/ToolMeaning.h"

namespace InstalledHost {

namespace {

using namespace StorageDevices;

// What every polling monitor offers, asked of a disk that it has already read.
void expectPolls(DataMonitorSm & monitor, Pelm::String const & disk) {
   EXPECT_TRUE(monitor.initialized());
   EXPECT_TRUE(monitor.isInData(disk));
   EXPECT_TRUE(monitor.pollInterval());
   EXPECT_TRUE(monitor.devices());
   EXPECT_FALSE(monitor.typeStr().empty());
   EXPECT_TRUE(monitor.clock());
   EXPECT_EQ(monitor.publisher(), &monitor.pollCount.publisher());
   monitor.update();
   auto const polls = monitor.pollCount();
   monitor.pollCountInc(1);
   monitor.handleClock();
   EXPECT_EQ(monitor.pollCount(), polls + 2);
   monitor.forEach([](DataMonitorSm & self, Pelm::String const & name) { self.updateDevice(name); });
   monitor.handleDisk(disk);
   monitor.removeFromData(disk);
   EXPECT_FALSE(monitor.isInData(disk));
   monitor.addToData(disk);
   EXPECT_TRUE(monitor.isInData(disk));
}

TEST_F(InstalledHostTest, ReadsSmartData) {
   writeTool("smartctl", R"({"smart_status": {"passed": true}, "ata_smart_attributes": {"table": []}})");
   addDisk("S1", ConnectedDisk::BusType::sata, "/dev/sda");
   auto const data = Pelm::make<SmartData>();
   auto const monitor = smartDataMonitorSmFactory(pollInterval, devices, data, tracker);
   EXPECT_TRUE(
       eventually([&] { return data->deviceData("S1") && data->deviceData("S1")->healthStatusRead(); }));
   EXPECT_EQ(data->deviceData("S1")->name(), "S1");
   EXPECT_EQ(monitor->data(), data);
   EXPECT_EQ(monitor->tracker(), tracker);
   EXPECT_TRUE(monitor->smartDbMapping("S1"));
   monitor->smartDbMappingIs("S2", {});
   monitor->smartDbMappingDel("S2");
   monitor->smartDbMappingDelAll();
   expectPolls(*monitor, "S1");
   EXPECT_EQ(monitor->smartctlProcess.size(), monitor->smartctlReactor.size());
   auto const own = monitor->smartctlProcessIs(tracker, "S2");
   EXPECT_EQ(monitor->smartctlReactor("S2")->notifier(), own->sm());
   monitor->smartctlReactorDel("S2");
   monitor->smartctlReactorIs(own);
   monitor->smartctlProcessDel("S2");
   monitor->smartctlReactorDelAll();
   monitor->smartctlProcessDelAll();
   EXPECT_TRUE(monitor->smartctlProcess.empty());
   monitor->handleSmartctlState("S1");
   EXPECT_TRUE(SmartDataMonitorSmIs(pollInterval, devices, data, tracker));

   auto const run = Pelm::make<SmartctlProcess>(tracker, "S1");
   run->run("/dev/sda", false);
   EXPECT_TRUE(run->started());
   EXPECT_TRUE(eventually([&] { return run->isOver(); }));
   EXPECT_EQ(run->device(), "S1");
   EXPECT_EQ(run->devicePath(), "/dev/sda");
   EXPECT_EQ(run->sm()->exitCode(), 0);
   EXPECT_FALSE(couldNotStart(*run->sm()->finishedRun()));
   EXPECT_EQ(runMeaning(*run->sm()->finishedRun()), "ok");
   EXPECT_EQ(runMeaning("smartctl", 8, false), "SMART reports that the disk is failing");
}

TEST_F(InstalledHostTest, ReadsTheSmartLogOfNvmeDrives) {
   writeTool("nvme", R"({"temperature": 310, "percent_used": 5})");
   addDisk("N1", ConnectedDisk::BusType::nvme, "/dev/nvme0n1");
   auto const data = Pelm::make<NvmeData>();
   auto const monitor = nvmeDataMonitorSmFactory(pollInterval, devices, data, tracker);
   EXPECT_TRUE(
       eventually([&] { return data->deviceData("N1") && data->deviceData("N1")->reading.count() > 0; }));
   EXPECT_EQ(data->deviceData("N1")->name(), "N1");
   EXPECT_EQ(data->deviceData("N1")->percentageUsed().value, 5);
   EXPECT_EQ(monitor->data(), data);
   EXPECT_EQ(monitor->tracker(), tracker);
   expectPolls(*monitor, "N1");
   EXPECT_EQ(monitor->nvmeCliProcess.size(), monitor->nvmeCliReactor.size());
   auto const own = monitor->nvmeCliProcessIs(tracker, "N2");
   EXPECT_EQ(monitor->nvmeCliReactor("N2")->notifier(), own->sm());
   monitor->nvmeCliReactorDel("N2");
   monitor->nvmeCliReactorIs(own);
   monitor->nvmeCliProcessDel("N2");
   monitor->nvmeCliReactorDelAll();
   monitor->nvmeCliProcessDelAll();
   EXPECT_TRUE(monitor->nvmeCliProcess.empty());
   monitor->handleNvmeCliState("N1");
   EXPECT_TRUE(NvmeDataMonitorSmIs(pollInterval, devices, data, tracker));

   auto const run = Pelm::make<NvmeCliProcess>(tracker, "N1");
   run->run("/dev/nvme0n1");
   run->startedIs(true);
   EXPECT_TRUE(eventually([&] { return run->isOver(); }));
}

TEST_F(InstalledHostTest, ReadsTheRegistersOfEmmcDevices) {
   write("life_time", "0x02 0x03\n");
   write("pre_eol_info", "0x01\n");
   addDisk("E1", ConnectedDisk::BusType::other, "/dev/mmcblk0");
   auto const data = Pelm::make<EmmcData>();
   auto const monitor = emmcDataMonitorSmFactory(pollInterval, devices, data);
   monitor->emmcBaseDirIs(folder.c_str());
   EXPECT_EQ(monitor->emmcBaseDir(), folder.c_str());
   EXPECT_TRUE(
       eventually([&] { return data->deviceData("E1") && data->deviceData("E1")->reading.count() > 0; }));
   auto const record = data->deviceData("E1");
   EXPECT_EQ(record->name(), "E1");
   EXPECT_EQ(record->lifetimeEstTypA().percentValue(), 90);
   auto const before = record->reading.time();
   EXPECT_STREQ(record->reading.source(), "emmc");
   EXPECT_TRUE(record->reading.ended());
   record->reading.failureIs("a reason");
   EXPECT_EQ(record->reading.failure()->reason, "a reason");
   record->reading.countInc();
   EXPECT_GE(record->reading.time(), before);
   EXPECT_EQ(monitor->data(), data);
   expectPolls(*monitor, "E1");

   std::ifstream file;
   EXPECT_TRUE(EmmcDataAccess::safeOpenFilestream(file, (folder / "life_time").string()));
   EXPECT_TRUE(EmmcDataAccess::getEmmcAttrs(folder.string(), *data->deviceData("E1")));
}

TEST_F(InstalledHostTest, StartsStopsAndResumesAPollingMonitorOfItsOwn) {
   addDisk("E1", ConnectedDisk::BusType::other, "/dev/mmcblk0");
   auto const data = Pelm::make<EmmcData>();
   auto const monitor = Pelm::make<EmmcDataMonitorSm>(pollInterval, devices, data);
   EXPECT_FALSE(monitor->initialized());
   monitor->handleInitialized();
   EXPECT_TRUE(monitor->initialized());
   EXPECT_TRUE(data->deviceData("E1"));
   EXPECT_TRUE(eventually([&] { return monitor->pollCount() == 1; }));
   monitor->vornDoZombieReactors(true);
   Vorn::Host::runFor(600);
   EXPECT_EQ(monitor->pollCount(), 1U);
   monitor->vornDoZombieReactors(false);
   EXPECT_TRUE(eventually([&] { return monitor->pollCount() == 2; }));
}

TEST_F(InstalledHostTest, KeepsTheStatisticsOfItsDisks) {
   write("stat", "1 0 8 0 2 0 16 0 0 0 0\n");
   setenv("STORAGEDEVICES_IOSTAT_PATH_BASE", (folder / "stat").c_str(), 1);
   addDisk("S1", ConnectedDisk::BusType::sata, "/dev/sda");
   auto const data = Pelm::make<IOStatData>();
   auto const monitor = iOStatSmFactory(pollInterval, devices, data);
   unsetenv("STORAGEDEVICES_IOSTAT_PATH_BASE");
   ASSERT_TRUE(monitor->initialized());
   EXPECT_TRUE(eventually([&] { return data->ioStatData("S1") && data->ioStatData("S1")->size() >= 2; }));
   EXPECT_EQ(data->ioStatData("S1")->topMeasurement()->bytesWritten, 16U * 512);
   data->ioStatData("S1")->pruneMeasurements(1e6);
   EXPECT_FALSE(data->ioStatData("S1")->empty());
   EXPECT_EQ((*data->ioStatData("S1"))[0].bytesRead, 8U * 512);
   monitor->shouldRecordMeasurementIs(false);
   EXPECT_FALSE(monitor->shouldRecordMeasurement());
   monitor->ioStatPathBaseIs("/nowhere/%s");
   EXPECT_EQ(monitor->ioStatPathBase(), "/nowhere/%s");
   monitor->handlePollClock();
   monitor->handleConnectedDevices();
   monitor->handleConnectedDevices("S1");
   monitor->collectIoStatForDisk("S1");
   EXPECT_TRUE(monitor->pollClock());
   EXPECT_GT(monitor->openErrorCount(), 0U);
   EXPECT_EQ(monitor->getlineErrorCount() + monitor->regexErrorCount(), 0U);
   EXPECT_EQ(monitor->pollInterval(), pollInterval);
   EXPECT_EQ(monitor->connectedDevices(), devices);
   EXPECT_EQ(monitor->ioStatData(), data);
}

TEST_F(InstalledHostTest, StartsStopsAndResumesStatisticsOfItsOwn) {
   write("stat", "1 0 8 0 2 0 16 0 0 0 0\n");
   addDisk("S1", ConnectedDisk::BusType::sata, "/dev/sda");
   auto const data = Pelm::make<IOStatData>();
   auto const monitor = Pelm::make<IOStatSm>(pollInterval, devices, data);
   monitor->ioStatPathBaseIs((folder / "stat").c_str());
   EXPECT_FALSE(monitor->initialized());
   monitor->handleInitialized();
   EXPECT_TRUE(monitor->initialized());
   auto const history = data->ioStatData("S1");
   ASSERT_TRUE(history);
   EXPECT_EQ(history->size(), 1U);
   monitor->vornDoZombieReactors(true);
   Vorn::Host::runFor(600);
   EXPECT_EQ(history->size(), 1U);
   monitor->vornDoZombieReactors(false);
   EXPECT_TRUE(eventually([&] { return history->size() == 2; }));
}

TEST_F(InstalledHostTest, FollowsTheLifeOfItsDisks) {
   addDisk("S1", ConnectedDisk::BusType::sata, "/dev/sda");
   auto const emmc = Pelm::make<EmmcData>();
   auto const nvme = Pelm::make<NvmeData>();
   auto const smart = Pelm::make<SmartData>();
   auto const monitor = deviceLifetimeMonitorSmFactory(devices, emmc, nvme, smart, Pelm::make<IOStatData>());
   monitor->deviceLifetimeChangeIs("S1");
   auto const change = monitor->deviceLifetimeChange("S1");
   change->numPastLogsIs(0);
   change->lastBytesWrittenIs(0);
   change->timestampIs(Vorn::System::currentTime());
   EXPECT_EQ(change->numPastLogs() + change->lastBytesWritten(), 0U);
   EXPECT_EQ(change->timestamp(), Vorn::System::currentTime());
   EXPECT_FALSE(change->firstDropDetected());
   monitor->handleChange("S1", 90);
   EXPECT_EQ(change->lastValue(), 90);
   change->firstDropDetectedIs(true);
   change->lastValueIs(40);
   SmartAttr attr;
   attr.raw = 39;
   EXPECT_TRUE(attr.isPassing());
   auto const present = OptionalSmartAttr::from(attr);
   EXPECT_TRUE(bool{present});
   EXPECT_EQ((*present).raw, present->raw);
   monitor->handleSmartData("S1", OptionalSmartAttr{}, OptionalSmartAttr::from(attr));
   monitor->handleNvmeData("S1", {}, {});
   monitor->handleEmmcData("S1", {}, {});
   EXPECT_EQ(change->serial(), "S1");
   EXPECT_EQ(monitor->devices(), devices);
   EXPECT_EQ(monitor->emmcData(), emmc);
   EXPECT_EQ(monitor->nvmeData(), nvme);
   EXPECT_EQ(monitor->smartData(), smart);
   EXPECT_TRUE(monitor->iostat());
   EXPECT_LE(logged.size(), 1U);
   monitor->deviceLifetimeChangeDel("S1");
   monitor->deviceLifetimeChangeDelAll();
   EXPECT_TRUE(monitor->deviceLifetimeChange.empty());
}

TEST_F(InstalledHostTest, StartsStopsAndResumesALifetimeMonitorOfItsOwn) {
   addDisk("N1", ConnectedDisk::BusType::nvme, "/dev/nvme0n1");
   auto const nvme = Pelm::make<NvmeData>();
   nvme->deviceDataIs("N1");
   auto const used = [&](int percent) {
      nvme->deviceData("N1")->percentageUsedIs({"percent_used", percent});
   };
   auto const monitor = Pelm::make<DeviceLifetimeMonitorSm>(
       devices, Pelm::make<EmmcData>(), nvme, Pelm::make<SmartData>(), Pelm::make<IOStatData>());
   used(10);
   EXPECT_FALSE(monitor->deviceLifetimeChange("N1"));
   monitor->handleInitialized();
   used(20);
   auto const change = monitor->deviceLifetimeChange("N1");
   ASSERT_TRUE(change);
   EXPECT_EQ(change->lastValue(), 80);
   monitor->vornDoZombieReactors(true);
   used(30);
   EXPECT_EQ(change->lastValue(), 80);
   monitor->vornDoZombieReactors(false);
   used(40);
   EXPECT_EQ(change->lastValue(), 60);
}

TEST_F(InstalledHostTest, ShowsTheTemperaturesOfItsDisks) {
   auto const sensors = Pelm::make<Environment::Temperature::Config>();
   sensors->tempSensorIs("Drive", "the drive", 70.0, 80.0);
   fruConfig->serialToSensorMapIs("N1", "Drive");
   auto const dir = Pelm::make<Vorn::Dir>();
   auto const nvme = Pelm::make<NvmeData>();
   nvme->deviceDataIs("N1");
   nvme->deviceData("N1")->temperatureCelsiusIs({"temperature", 37});
   auto const monitor = tempSensorSmFactory(fruConfig, sensors, dir, nvme, Pelm::make<SmartData>());
   auto const * const status =
       dynamic_cast<Environment::Temperature::TempSensorStatus const *>(dir->entityPtr("Drive").get());
   ASSERT_TRUE(status);
   EXPECT_EQ(status->temperature(), Environment::Temperature::Celsius{37});
   monitor->createTempStatus("N1");
   monitor->updateTempSensor("N1", {}, {});
   EXPECT_TRUE(monitor->temperatureWrapper("N1"));
   monitor->temperatureWrapperIs("N1");
   monitor->fruConfigDispatch("N1");
   monitor->nvmeDataDispatch("N1");
   EXPECT_TRUE(monitor->nvmeDeviceData("N1"));
   monitor->on_smartData("N1");
   monitor->on_smartData_deviceData("N1", {OptionalSmartAttr{}, OptionalSmartAttr{}});
   EXPECT_EQ(monitor->fruConfig(), fruConfig);
   EXPECT_EQ(monitor->envTempConfigDir(), sensors);
   EXPECT_EQ(monitor->envTempStatusDir(), dir);
   EXPECT_EQ(monitor->nvmeData(), nvme);
   EXPECT_TRUE(monitor->smartData());
   monitor->temperatureWrapperDel("N1");
   monitor->temperatureWrapperDelAll();
   monitor->nvmeDeviceDataDel("N1");
   monitor->nvmeDeviceDataIs(nvme->deviceData("N1"));
   monitor->nvmeDeviceDataDelAll();
   EXPECT_TRUE(TempSensorSmIs(fruConfig, sensors, dir, nvme, Pelm::make<SmartData>()));
}

TEST_F(InstalledHostTest, StartsStopsAndResumesTemperaturesOfItsOwn) {
   auto const sensors = Pelm::make<Environment::Temperature::Config>();
   sensors->tempSensorIs("Drive", "the drive", 70.0, 80.0);
   fruConfig->serialToSensorMapIs("N1", "Drive");
   auto const dir = Pelm::make<Vorn::Dir>();
   auto const nvme = Pelm::make<NvmeData>();
   nvme->deviceDataIs("N1");
   auto const temperatureIs = [&](int celsius) {
      nvme->deviceData("N1")->temperatureCelsiusIs({"temperature", celsius});
   };
   auto const monitor = Pelm::make<TempSensorSm>(fruConfig, sensors, dir, nvme, Pelm::make<SmartData>());
   EXPECT_FALSE(dir->entityPtr("Drive"));
   monitor->handleInitialized();
   auto const * const status =
       dynamic_cast<Environment::Temperature::TempSensorStatus const *>(dir->entityPtr("Drive").get());
   ASSERT_TRUE(status);
   temperatureIs(37);
   EXPECT_EQ(status->temperature(), Environment::Temperature::Celsius{37});
   monitor->vornDoZombieReactors(true);
   temperatureIs(38);
   EXPECT_EQ(status->temperature(), Environment::Temperature::Celsius{37});
   monitor->handleNvmeTemperature("N1");
   EXPECT_EQ(status->temperature(), Environment::Temperature::Celsius{38});
   monitor->vornDoZombieReactors(false);
   temperatureIs(39);
   EXPECT_EQ(status->temperature(), Environment::Temperature::Celsius{39});
}

}  // namespace

}  // namespace InstalledHost
