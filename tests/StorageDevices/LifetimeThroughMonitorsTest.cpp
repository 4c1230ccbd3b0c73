// The lifetime monitor on what the SMART, NVMe and I/O statistics monitors really publish.
#include <gtest/gtest.h>

#include "StorageDevices/DeviceLifetimeMonitorSm.h"
#include "StorageDevices/Factories.h"
#include "StorageDevices/IOStatSm.h"
#include "StorageDevices/NvmeDataMonitorSm.h"
#include "StorageDevices/SmartDataMonitorSm.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/ToolMonitorTest.h"
#include "tests/support/Units.h"

namespace StorageDevices {

namespace {

using Texts = std::vector<std::string>;

class LifetimeThroughMonitorsTest : public Support::ToolMonitorTest {
 protected:
   LifetimeThroughMonitorsTest(std::string const & tool, Support::DiskFields disk)
       : ToolMonitorTest{tool, "StorageDeviceLifetimeMonitorSm", std::move(disk)} {
      interval_->intervalIs(day);
      written(0);
   }
   LifetimeThroughMonitorsTest() : LifetimeThroughMonitorsTest{"smartctl", {.name = "S1"}} {}

   void written(std::uint64_t bytes) const {
      for (char const * const name : {"sda", "nvme0n1"})
         folder_.write(std::string{name} + ".stat",
                       "1 0 8 0 2 0 " + std::to_string(bytes / 512) + " 0 0 0 0\n");
   }
   // The drive's raw figure; its normalised value is another one.
   void figure(int raw) const {
      toolPrints(R"({"smart_status":{"passed":true},"ata_smart_attributes":{"table":[{"id":202,)"
                 R"("name":"Percent_Lifetime_Remain","value":7,"worst":7,"thresh":1,"flags":{"value":48},)"
                 R"("raw":{"value":)" +
                 std::to_string(raw) + R"(,"string":")" + std::to_string(raw) + R"("}}]}})");
   }
   void start() {
      ioStat_ = iOStatSmFactory(interval_, devices_, history_);
      smartMonitor_ = smartDataMonitorSmFactory(interval_, devices_, smart_, tracker_);
      nvmeMonitor_ = nvmeDataMonitorSmFactory(interval_, devices_, nvme_, tracker_);
      lifetime_ = deviceLifetimeMonitorSmFactory(devices_, emmc_, nvme_, smart_, history_);
      plug();
      Vorn::Host::runFor(1);
   }
   Texts logged() const {
      Texts result;
      for (auto const & message : logs_.messages())
         result.push_back(message.name + " " + message.arguments[4] + "GB in " + message.arguments[5]);
      return result;
   }

   Support::EnvironmentSetting path_{"STORAGEDEVICES_IOSTAT_PATH_BASE", folder_.string() + "/%s.stat"};
   Support::LogRecorder logs_;
   Pelm::Ptr<SmartData> smart_ = Pelm::make<SmartData>();
   Pelm::Ptr<NvmeData> nvme_ = Pelm::make<NvmeData>();
   Pelm::Ptr<EmmcData> emmc_ = Pelm::make<EmmcData>();
   Pelm::Ptr<IOStatData> history_ = Pelm::make<IOStatData>();
   Pelm::Ptr<IOStatSm> ioStat_;
   Pelm::Ptr<SmartDataMonitorSm> smartMonitor_;
   Pelm::Ptr<NvmeDataMonitorSm> nvmeMonitor_;
   Pelm::Ptr<DeviceLifetimeMonitorSm> lifetime_;
};

TEST_F(LifetimeThroughMonitorsTest, LogsAFallFrom90To89InADayWithTheBytesWritten) {
   figure(91);
   start();
   figure(90);
   Vorn::Host::runFor(day);
   EXPECT_EQ(lifetime_->deviceLifetimeChange("S1")->lastValue(), 90);
   written(25 * gib);
   figure(89);
   Vorn::Host::runFor(day);
   EXPECT_EQ(logged(), Texts{"STORAGEDEVICE_LIFETIME_INFO 25GB in 1"});
   Vorn::Host::runFor(day);
   EXPECT_EQ(logged().size(), 1U) << "the same figure a day later";
}

TEST_F(LifetimeThroughMonitorsTest, IgnoresARunThatFails) {
   figure(91);
   start();
   figure(90);
   Vorn::Host::runFor(day);
   toolDoes("exit 2");
   Vorn::Host::runFor(day);
   toolPrints(R"({"smart_status":{"passed":true},"ata_smart_attributes":{"table":[]}})");
   Vorn::Host::runFor(day);
   figure(90);
   Vorn::Host::runFor(day);
   EXPECT_TRUE(logged().empty());
   EXPECT_EQ(lifetime_->deviceLifetimeChange("S1")->lastValue(), 90);
}

class NvmeLifetimeTest : public LifetimeThroughMonitorsTest {
 protected:
   NvmeLifetimeTest()
       : LifetimeThroughMonitorsTest{
             "nvme", {.name = "N1", .blockDevice = "/dev/nvme0n1", .busType = ConnectedDisk::BusType::nvme}} {
      folder_.writeScript("smartctl", "exit 1");
   }
   void used(int percent) const { toolPrints(R"({"percent_used":)" + std::to_string(percent) + "}"); }
};

TEST_F(NvmeLifetimeTest, IsTheUnusedPercentage) {
   used(9);
   start();
   used(10);
   Vorn::Host::runFor(day);
   EXPECT_EQ(lifetime_->deviceLifetimeChange("N1")->lastValue(), 90);
   written(3 * gib);
   used(71);
   Vorn::Host::runFor(day);
   EXPECT_EQ(logged(), Texts{"STORAGEDEVICE_LIFETIME_WARNING 3GB in 1"});
}

}  // namespace

}  // namespace StorageDevices
