// The temperature sensors on what the SMART monitor really publishes.
#include <gtest/gtest.h>

#include "StorageDevices/Factories.h"
#include "StorageDevices/SmartDataMonitorSm.h"
#include "StorageDevices/TempSensorSm.h"
#include "tests/support/ToolMonitorTest.h"

namespace StorageDevices {

namespace {

using Environment::Temperature::TempSensorStatus;
using Temperature = Vorn::Optional<Environment::Temperature::Celsius>;

class TemperatureThroughMonitorsTest : public Support::ToolMonitorTest {
 protected:
   TemperatureThroughMonitorsTest() : ToolMonitorTest{"smartctl", "StorageTempSensorSm", {.name = "S1"}} {
      config_->tempSensorIs("DriveTemp1", "Drive 1", 70.0, 80.0);
      fruConfig_->serialToSensorMapIs("S1", "DriveTemp1");
      sensors_ = tempSensorSmFactory(fruConfig_, config_, dir_, nvme_, smart_);
      smartMonitor_ = smartDataMonitorSmFactory(interval_, devices_, smart_, tracker_);
   }

   // Degrees and hours of the next report; the normalised value is another one.
   void driveHas(int degrees, int hours) const {
      auto const row = [](char const * id, char const * name, int raw) {
         return std::string{R"({"id":)"} + id + R"(,"name":")" + name +
                R"(","value":61,"worst":40,"thresh":0,"flags":{"value":34},"raw":{"value":)" +
                std::to_string(raw) + R"(,"string":")" + std::to_string(raw) + R"("}})";
      };
      toolPrints(R"({"smart_status":{"passed":true},"ata_smart_attributes":{"table":[)" +
                 row("194", "Temperature_Celsius", degrees) + "," + row("9", "Power_On_Hours", hours) +
                 "]}}");
   }
   TempSensorStatus & status() const {
      return dynamic_cast<TempSensorStatus &>(*dir_->entityPtr("DriveTemp1"));
   }
   TempSensorSm::Wrapper & wrapper() const { return *sensors_->temperatureWrapper("S1"); }

   Pelm::Ptr<FruConfig> fruConfig_ = Pelm::make<FruConfig>();
   Pelm::Ptr<Environment::Temperature::Config> config_ = Pelm::make<Environment::Temperature::Config>();
   Pelm::Ptr<Vorn::Dir> dir_ = Pelm::make<Vorn::Dir>();
   Pelm::Ptr<NvmeData> nvme_ = Pelm::make<NvmeData>();
   Pelm::Ptr<SmartData> smart_ = Pelm::make<SmartData>();
   Pelm::Ptr<TempSensorSm> sensors_;
   Pelm::Ptr<SmartDataMonitorSm> smartMonitor_;
};

TEST_F(TemperatureThroughMonitorsTest, ShowsARiseBetweenTwoRunsWholeAndNothingInBetween) {
   driveHas(35, 100);
   plug();
   poll();
   ASSERT_EQ(status().temperature(), Temperature{Environment::Temperature::Celsius{35}});
   EXPECT_EQ(wrapper().unrealisticTempChangeThreshold(), Environment::Temperature::Celsius{20});
   Support::ChangeRecorder const shown{status().temperature};
   Support::ChangeRecorder const thresholds{wrapper().unrealisticTempChangeThreshold};
   driveHas(80, 101);
   poll();
   ASSERT_EQ(shown.count(), 1U);
   EXPECT_EQ(*shown.changes()[0].old, Temperature{Environment::Temperature::Celsius{35}});
   EXPECT_EQ(*shown.changes()[0].now, Temperature{Environment::Temperature::Celsius{80}});
   ASSERT_EQ(thresholds.count(), 1U);
   EXPECT_EQ(*thresholds.changes()[0].now, Environment::Temperature::Celsius{45})
       << "set before, or 80 would be delayed";
   EXPECT_EQ(status().alarm(), TempSensorStatus::Alarm{TempSensorStatus::Alarm::critical});
}

TEST_F(TemperatureThroughMonitorsTest, PublishesNothingForARunWithTheSameTemperature) {
   driveHas(35, 100);
   plug();
   poll();
   Support::ChangeRecorder const shown{status().temperature};
   Support::ChangeRecorder const thresholds{wrapper().unrealisticTempChangeThreshold};
   driveHas(35, 102);
   poll();
   EXPECT_EQ(smart_->deviceData("S1")->powerOnHours()->raw, 102) << "the run was read";
   EXPECT_EQ(shown.count() + thresholds.count(), 0U);
}

TEST_F(TemperatureThroughMonitorsTest, ShowsADrivePulledAndPutBackAgain) {
   driveHas(35, 100);
   plug();
   poll();
   unplug();
   driveHas(41, 100);
   poll();
   EXPECT_EQ(status().temperature(), Temperature{Environment::Temperature::Celsius{35}})
       << "nothing was read of it";
   plug();
   poll();
   EXPECT_EQ(status().temperature(), Temperature{Environment::Temperature::Celsius{41}});
}

}  // namespace

}  // namespace StorageDevices
