// What the health monitors offer under which names, asked as a host would. Most of it fails to compile when
// it is broken.
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <cstdint>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "StorageDevices/DeviceLifetimeMonitorSm.h"
#include "StorageDevices/EmmcDataMonitorSm.h"
#include "StorageDevices/Factories.h"
#include "StorageDevices/IOStatSm.h"
#include "StorageDevices/NvmeDataMonitorSm.h"
#include "StorageDevices/NvmeSmartLog.h"
#include "StorageDevices/SmartAttributes.h"
#include "StorageDevices/SmartDataMonitorSm.h"
#include "StorageDevices/TempSensorSm.h"
#include "tests/support/DiskFields.h"
#include "tests/support/SlotOf.h"
#include "tests/support/TempDir.h"
#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {

namespace {

using Support::slotOf;

// The least that a monitor of its own kind must say.
class OwnMonitor final : public DataMonitorSm {
 public:
   OwnMonitor(Pelm::Ptr<PollInterval const> const & pollInterval,
              Pelm::Ptr<ConnectedDevices const> const & devices)
       : DataMonitorSm(pollInterval, devices) {}
   bool isInData(Pelm::String const &) const override { return false; }
   void addToData(Pelm::String const &) override {}
   void removeFromData(Pelm::String const &) override {}
   void forEach(DeviceCallback) override {}
   void updateDevice(Pelm::String const &) override {}

   static auto lastUserGoneOperation() { return &OwnMonitor::lastUserGone; }
};

class HealthInterfaceTest : public Support::VirtualTimeTest {
 protected:
   // What every polling monitor has, from the start to the first poll.
   void expectPolls(DataMonitorSm & monitor, char const * typeStr) const {
      EXPECT_EQ(monitor.pollInterval(), interval_);
      EXPECT_EQ(monitor.devices(), devices_);
      EXPECT_TRUE(monitor.initialized());
      EXPECT_EQ(monitor.typeStr(), typeStr);
      EXPECT_EQ(monitor.pollCount(), 0U);
      monitor.pollCountInc(2);
      EXPECT_EQ(monitor.pollCount(), 2U);
      EXPECT_EQ(monitor.clock()->timeMin(), 0);
      monitor.handleClock();
      EXPECT_EQ(monitor.clock()->timeMin(), Vorn::System::currentTime() + interval_->interval());
   }

   Pelm::Ptr<PollInterval> interval_ = Pelm::make<PollInterval>();
   Pelm::Ptr<ConnectedDevices> devices_ = Pelm::make<ConnectedDevices>();
   Pelm::Ptr<FruConfig> fruConfig_ = Pelm::make<FruConfig>();
   Pelm::Ptr<EmmcData> emmc_ = Pelm::make<EmmcData>();
   Pelm::Ptr<NvmeData> nvme_ = Pelm::make<NvmeData>();
   Pelm::Ptr<SmartData> smart_ = Pelm::make<SmartData>();
   Pelm::Ptr<IOStatData> ioStat_ = Pelm::make<IOStatData>();
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker_ = Pelm::make<Brul::ChildProcessTrackerSm>();
};

TEST_F(HealthInterfaceTest, MakesAMonitorOfAPollIntervalAndTheDevices) {
   auto const monitor = Pelm::make<OwnMonitor>(interval_, devices_);
   EXPECT_EQ(monitor->pollInterval(), interval_);
   EXPECT_EQ(monitor->devices(), devices_);
   EXPECT_EQ(monitor->clock(), nullptr);
   EXPECT_FALSE(monitor->initialized());
   EXPECT_EQ(monitor->pollCount(), 0U);
   EXPECT_EQ(monitor->publisher(), &monitor->pollCount.publisher());
   EXPECT_EQ(monitor->typeData(), typeid(OwnMonitor));
}

TEST_F(HealthInterfaceTest, KeepsTheOperationsOfAMonitorInTheirOrder) {
   std::vector<std::intptr_t> const slots = {slotOf(OwnMonitor::lastUserGoneOperation()),
                                             slotOf(&DataMonitorSm::publisher),
                                             slotOf(&DataMonitorSm::typeData),
                                             slotOf(&DataMonitorSm::vornDoZombieReactors),
                                             slotOf(&DataMonitorSm::handleDisk),
                                             slotOf(&DataMonitorSm::isInData),
                                             slotOf(&DataMonitorSm::addToData),
                                             slotOf(&DataMonitorSm::removeFromData),
                                             slotOf(&DataMonitorSm::forEach),
                                             slotOf(&DataMonitorSm::updateDevice)};
   EXPECT_EQ(slots[0], 2) << "after the destructors";
   for (std::size_t i = 1; i < slots.size(); ++i)
      EXPECT_EQ(slots[i], slots[i - 1] + 1) << i;
}

TEST_F(HealthInterfaceTest, OffersTheSmartMonitor) {
   auto const monitor = smartDataMonitorSmFactory(interval_, devices_, smart_, tracker_);
   expectPolls(*monitor, "Smart");
   EXPECT_EQ(monitor->data(), smart_);
   EXPECT_EQ(monitor->tracker(), tracker_);
   monitor->smartDbMappingIs("S1", {});
   EXPECT_TRUE(monitor->smartDbMapping("S1").has_value());
   monitor->smartDbMappingDel("S1");
   monitor->smartDbMappingIs("S2", {});
   monitor->smartDbMappingDelAll();
   EXPECT_TRUE(monitor->smartDbMapping.empty());
}

TEST_F(HealthInterfaceTest, OffersRunsOfSmartctl) {
   auto const monitor = smartDataMonitorSmFactory(interval_, devices_, smart_, tracker_);
   monitor->smartctlProcessIs(tracker_, "S1");
   Pelm::Ptr<SmartctlProcess> const process = monitor->smartctlProcess("S1");
   ASSERT_TRUE(process);
   Pelm::Ptr<SmartDataMonitorSm::NestedSm_SmartctlReactor> const reactor = monitor->smartctlReactor("S1");
   ASSERT_TRUE(reactor);
   EXPECT_EQ(reactor->notifier(), process->sm());
   monitor->smartctlProcessIs(tracker_, "S1");
   EXPECT_EQ(monitor->smartctlProcess("S1"), process);
   EXPECT_EQ(monitor->smartctlReactor("S1"), reactor);
   SmartDataMonitorSm::HN_SmartctlReactor const node = *monitor->smartctlReactor.begin();
   EXPECT_TRUE(node.key == "S1" && node.value == reactor);
   monitor->smartctlReactorDel("S1");
   EXPECT_FALSE(monitor->smartctlReactor("S1"));
   monitor->smartctlReactorIs(process);
   EXPECT_TRUE(monitor->smartctlReactor("S1"));
   monitor->smartctlProcessDel("S1");
   EXPECT_TRUE(monitor->smartctlProcess.empty() && monitor->smartctlReactor.empty());
   monitor->smartctlProcessIs(tracker_, "S2");
   monitor->smartctlReactorDelAll();
   EXPECT_TRUE(monitor->smartctlReactor.empty());
   monitor->smartctlProcessDelAll();
   EXPECT_TRUE(monitor->smartctlProcess.empty());
   monitor->handleSmartctlState("S2");
}

TEST_F(HealthInterfaceTest, OffersTheNvmeMonitor) {
   auto const monitor = nvmeDataMonitorSmFactory(interval_, devices_, nvme_, tracker_);
   expectPolls(*monitor, "Nvme");
   EXPECT_EQ(monitor->data(), nvme_);
   EXPECT_EQ(monitor->tracker(), tracker_);
}

TEST_F(HealthInterfaceTest, OffersRunsOfNvmeCli) {
   auto const monitor = nvmeDataMonitorSmFactory(interval_, devices_, nvme_, tracker_);
   monitor->nvmeCliProcessIs(tracker_, "N1");
   Pelm::Ptr<NvmeCliProcess> const process = monitor->nvmeCliProcess("N1");
   ASSERT_TRUE(process);
   Pelm::Ptr<NvmeDataMonitorSm::NestedSm_NvmeCliReactor> const reactor = monitor->nvmeCliReactor("N1");
   ASSERT_TRUE(reactor);
   EXPECT_EQ(reactor->notifier(), process->sm());
   monitor->nvmeCliProcessIs(tracker_, "N1");
   EXPECT_EQ(monitor->nvmeCliProcess("N1"), process);
   EXPECT_EQ(monitor->nvmeCliReactor("N1"), reactor);
   NvmeDataMonitorSm::HN_NvmeCliReactor const node = *monitor->nvmeCliReactor.begin();
   EXPECT_TRUE(node.key == "N1" && node.value == reactor);
   monitor->nvmeCliReactorDel("N1");
   EXPECT_FALSE(monitor->nvmeCliReactor("N1"));
   monitor->nvmeCliReactorIs(process);
   EXPECT_TRUE(monitor->nvmeCliReactor("N1"));
   monitor->nvmeCliProcessDel("N1");
   EXPECT_TRUE(monitor->nvmeCliProcess.empty() && monitor->nvmeCliReactor.empty());
   monitor->nvmeCliProcessIs(tracker_, "N2");
   monitor->nvmeCliReactorDelAll();
   EXPECT_TRUE(monitor->nvmeCliReactor.empty());
   monitor->nvmeCliProcessDelAll();
   EXPECT_TRUE(monitor->nvmeCliProcess.empty());
   monitor->handleNvmeCliState("N2");
}

TEST_F(HealthInterfaceTest, OffersARunOfATool) {
   SmartctlProcess const * const smartctl = nullptr;
   static_assert(std::is_same_v<decltype(smartctl->device()), Pelm::String const &>);
   static_assert(std::is_same_v<decltype(smartctl->sm()), Pelm::Ptr<Brul::PipedChildProcessSm> const &>);
   auto const process = Pelm::make<NvmeCliProcess>(tracker_, "N1");
   EXPECT_EQ(process->device(), "N1");
   EXPECT_TRUE(process->sm()->hasNotificationActive());
   EXPECT_FALSE(process->started());
   process->startedIs(true);
   EXPECT_TRUE(process->started());
}

TEST_F(HealthInterfaceTest, OffersTheEmmcMonitor) {
   auto const monitor = emmcDataMonitorSmFactory(interval_, devices_, emmc_);
   expectPolls(*monitor, "Emmc");
   EXPECT_EQ(monitor->data(), emmc_);
   EXPECT_EQ(monitor->emmcBaseDir(), "/sys/block/%s/device");
   monitor->emmcBaseDirIs("/somewhere/%s");
   EXPECT_EQ(monitor->emmcBaseDir(), "/somewhere/%s");
}

TEST_F(HealthInterfaceTest, OffersTheReadersOfEmmcRegisters) {
   Support::TempDir const folder;
   folder.write("life_time", "0x01 0x02\n");
   folder.write("pre_eol_info", "0x03\n");
   std::ifstream stream;
   std::string const path = folder.string() + "/life_time";
   EXPECT_TRUE(EmmcDataAccess::safeOpenFilestream(stream, path));
   EXPECT_TRUE(stream.is_open());
   auto const deviceData = Pelm::make<DeviceEmmcData>("E1");
   EXPECT_TRUE(EmmcDataAccess::getEmmcAttrs(folder.string(), *deviceData));
   EXPECT_EQ(deviceData->lifetimeEstTypB().raw(), 2);
}

TEST_F(HealthInterfaceTest, OffersTheIoStatisticsMonitor) {
   auto const monitor = iOStatSmFactory(interval_, devices_, ioStat_);
   EXPECT_EQ(monitor->pollInterval(), interval_);
   EXPECT_EQ(monitor->connectedDevices(), devices_);
   EXPECT_EQ(monitor->ioStatData(), ioStat_);
   EXPECT_EQ(monitor->ioStatPathBase(), "/sys/block/%s/stat");
   EXPECT_TRUE(monitor->shouldRecordMeasurement());
   EXPECT_EQ(monitor->openErrorCount() + monitor->getlineErrorCount() + monitor->regexErrorCount(), 0U);
   EXPECT_TRUE(monitor->initialized());
   EXPECT_EQ(monitor->pollClock()->timeMin(), Vorn::System::currentTime() + interval_->interval());
   monitor->ioStatPathBaseIs("/nowhere/%s");
   Support::DiskFields{.name = "S1"}.writeTo(*devices_);
   EXPECT_EQ(monitor->openErrorCount(), 1U);
   monitor->collectIoStatForDisk("S1");
   monitor->collectIoStatForDisk("nobody");
   EXPECT_EQ(monitor->openErrorCount(), 2U);
   monitor->handlePollClock();
   EXPECT_EQ(monitor->openErrorCount(), 3U);
   monitor->handleConnectedDevices("S1");
   monitor->handleConnectedDevices();
   EXPECT_EQ(monitor->openErrorCount(), 3U);
   EXPECT_TRUE(ioStat_->ioStatData("S1"));
}

TEST_F(HealthInterfaceTest, OffersAnIoStatisticsMonitorBeforeItIsInitialised) {
   auto const monitor = Pelm::make<IOStatSm>(interval_, devices_, ioStat_);
   EXPECT_EQ(monitor->pollClock(), nullptr);
   EXPECT_FALSE(monitor->initialized());
}

TEST_F(HealthInterfaceTest, OffersTheReadersOfReports) {
   JsonDocument const document{R"({"a":{"b":true},"power_cycles":7,"ata_smart_attributes":{"table":[]}})"};
   auto const isBool = [](JsonValue const & value) { return value.IsBool(); };
   auto const isArray = [](JsonValue const & value) { return value.IsArray(); };
   EXPECT_TRUE(parseMember(document.root(), {"a", "b"}, isBool));
   EXPECT_FALSE(parseMember(document.root(), {"a", "b"}, isArray));
   EXPECT_TRUE(parseMember(document.root(), "a", nullptr));
   EXPECT_FALSE(parseMember(document.root(), "a", isBool));
   auto const record = Pelm::make<DeviceSmartData>("S1");
   EXPECT_FALSE(parseHealthStatus(document.root(), *record));
   auto const * const table = smartAttrsTable(document.root());
   ASSERT_TRUE(table);
   DriveSmartMapping const mapping;
   parseSmartAttrs(*table, *record, mapping);
   EXPECT_TRUE(record->allAttrsPassing());
   SmartAttr const attr;
   EXPECT_FALSE(maybeInsertKnownAttr(*record, attr, mapping));
   insertAttr(*record, attr, mapping);
   EXPECT_EQ(record->unknownAttr.size(), 1U);
   auto const log = Pelm::make<DeviceNvmeData>("N1");
   parseAndInsertNvmeAttrs(document.root(), *log);
   EXPECT_EQ(log->powerCycleCount(), parseAttr(document.root(), "power_cycles"));
   EXPECT_EQ(log->powerCycleCount().value, 7);
}

TEST_F(HealthInterfaceTest, OffersTheLifetimeMonitor) {
   auto const monitor = deviceLifetimeMonitorSmFactory(devices_, emmc_, nvme_, smart_, ioStat_);
   EXPECT_EQ(monitor->devices(), devices_);
   EXPECT_EQ(monitor->emmcData(), emmc_);
   EXPECT_EQ(monitor->nvmeData(), nvme_);
   EXPECT_EQ(monitor->smartData(), smart_);
   EXPECT_EQ(monitor->iostat(), ioStat_);
   for (char const * const serial : {"S1", "S2", "S3"})
      monitor->deviceLifetimeChangeIs(serial);
   Pelm::Ptr<DeviceLifetimeChange> const change = monitor->deviceLifetimeChange("S1");
   EXPECT_EQ(change->serial(), "S1");
   EXPECT_FALSE(change->firstDropDetected());
   EXPECT_EQ(change->numPastLogs(), 0);
   EXPECT_EQ(change->lastValue(), -1);
   EXPECT_EQ(change->timestamp(), 0);
   EXPECT_EQ(change->lastBytesWritten(), 0U);
   monitor->deviceLifetimeChangeIs("S1");
   EXPECT_EQ(monitor->deviceLifetimeChange("S1"), change);
   monitor->deviceLifetimeChangeDel("S1");
   EXPECT_EQ(monitor->deviceLifetimeChange.size(), 2U);
   monitor->deviceLifetimeChangeDelAll();
   EXPECT_TRUE(monitor->deviceLifetimeChange.empty());
}

TEST_F(HealthInterfaceTest, OffersTheHandlersOfLifetimes) {
   auto const monitor = deviceLifetimeMonitorSmFactory(devices_, emmc_, nvme_, smart_, ioStat_);
   auto const last = [&] { return monitor->deviceLifetimeChange("S1")->lastValue(); };
   SmartAttr attr;
   attr.raw = 70;
   monitor->handleSmartData("S1", OptionalSmartAttr{}, OptionalSmartAttr::from(attr));
   EXPECT_EQ(last(), 70);
   monitor->handleNvmeData("S1", NvmeAttr{}, NvmeAttr{"percent_used", 60});
   EXPECT_EQ(last(), 60);
   monitor->handleEmmcData("S1", LifetimeEmmcAttr{}, LifetimeEmmcAttr{6});
   EXPECT_EQ(last(), 50);
   monitor->handleChange("S1", 40);
   EXPECT_EQ(last(), 40);
}

class TemperatureInterfaceTest : public HealthInterfaceTest {
 protected:
   TemperatureInterfaceTest() {
      config_->tempSensorIs("DriveTemp1", "Drive 1", 70.0, 80.0);
      fruConfig_->serialToSensorMapIs("S1", "DriveTemp1");
   }

   Pelm::Ptr<Environment::Temperature::Config> config_ = Pelm::make<Environment::Temperature::Config>();
   Pelm::Ptr<Vorn::Dir> dir_ = Pelm::make<Vorn::Dir>();
   Pelm::Ptr<TempSensorSm> monitor_ = tempSensorSmFactory(fruConfig_, config_, dir_, nvme_, smart_);
};

TEST_F(TemperatureInterfaceTest, AnswersItsConstructorArguments) {
   EXPECT_EQ(monitor_->fruConfig(), fruConfig_);
   EXPECT_EQ(monitor_->envTempConfigDir(), config_);
   EXPECT_EQ(monitor_->envTempStatusDir(), dir_);
   EXPECT_EQ(monitor_->nvmeData(), nvme_);
   EXPECT_EQ(monitor_->smartData(), smart_);
}

TEST_F(TemperatureInterfaceTest, OffersAWrapperPerDrive) {
   EXPECT_EQ(monitor_->temperatureWrapper("S1")->name(), "DriveTemp1");
   auto const first = monitor_->temperatureWrapper("S1");
   monitor_->temperatureWrapperIs("S1");
   EXPECT_NE(monitor_->temperatureWrapper("S1"), first);
   EXPECT_EQ(monitor_->temperatureWrapper("S1")->name(), "DriveTemp1");
   monitor_->temperatureWrapperIs("S9");
   EXPECT_EQ(monitor_->temperatureWrapper("S9")->name(), "S9") << "which has no sensor";
   monitor_->temperatureWrapperDel("S1");
   EXPECT_EQ(monitor_->temperatureWrapper.size(), 1U);
   monitor_->temperatureWrapperDelAll();
   EXPECT_TRUE(monitor_->temperatureWrapper.empty());
}

TEST_F(TemperatureInterfaceTest, OffersReactorsOfNvmeRecords) {
   auto const record = Pelm::make<DeviceNvmeData>("S1");
   monitor_->nvmeDeviceDataIs(record);
   Pelm::Ptr<TempSensorSm::NestedSm_NvmeDeviceData> const reactor = monitor_->nvmeDeviceData("S1");
   ASSERT_TRUE(reactor);
   EXPECT_EQ(reactor->notifier(), record);
   TempSensorSm::HN_NvmeDeviceData const node = *monitor_->nvmeDeviceData.begin();
   EXPECT_TRUE(node.key == "S1" && node.value == reactor);
   monitor_->nvmeDeviceDataDel("S1");
   EXPECT_FALSE(monitor_->nvmeDeviceData("S1"));
   nvme_->deviceDataIs("S1");
   EXPECT_TRUE(monitor_->nvmeDeviceData("S1")) << "a new record gets one";
   nvme_->deviceDataDel("S1");
   EXPECT_FALSE(monitor_->nvmeDeviceData("S1")) << "one that goes loses it";
   monitor_->nvmeDeviceDataIs(record);
   monitor_->nvmeDeviceDataDelAll();
   EXPECT_TRUE(monitor_->nvmeDeviceData.empty());
}

TEST_F(TemperatureInterfaceTest, OffersItsReactions) {
   auto const shown = [&] {
      auto const status = dir_->entityPtr("DriveTemp1");
      auto const & temperature =
          dynamic_cast<Environment::Temperature::TempSensorStatus &>(*status).temperature();
      return temperature ? temperature->value() : -999;
   };
   auto const attrOf = [](std::int64_t degrees) {
      SmartAttr attr;
      attr.reportedValue = degrees;
      return OptionalSmartAttr::from(attr);
   };
   smart_->deviceDataIs("S1");
   smart_->deviceData("S1")->temperatureCelsiusIs(attrOf(30));
   EXPECT_EQ(shown(), 30);
   Vorn::Change<OptionalSmartAttr> const change{attrOf(30), attrOf(90)};
   monitor_->on_smartData_deviceData("S1", change);
   EXPECT_EQ(monitor_->temperatureWrapper("S1")->unrealisticTempChangeThreshold(),
             Environment::Temperature::Celsius{60});
   monitor_->updateTempSensor("S1", {}, {});
   EXPECT_EQ(monitor_->temperatureWrapper("S1")->unrealisticTempChangeThreshold(),
             Environment::Temperature::Celsius{20});
   monitor_->on_smartData("S1");
   monitor_->nvmeDataDispatch("S1");
   EXPECT_TRUE(monitor_->nvmeDeviceData.empty());
   monitor_->fruConfigDispatch("S1");
   monitor_->createTempStatus("S1");
   EXPECT_EQ(shown(), 30);
}

}  // namespace

}  // namespace StorageDevices
