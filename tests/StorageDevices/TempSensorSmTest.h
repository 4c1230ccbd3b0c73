// The temperature monitor with a sensor for each of two drives.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>

#include "StorageDevices/Factories.h"
#include "StorageDevices/TempSensorSm.h"
#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {

class TempSensorSmTest : public Support::VirtualTimeTest {
 protected:
   using TempSensorStatus = Environment::Temperature::TempSensorStatus;
   using Alarm = TempSensorStatus::Alarm;

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

}  // namespace StorageDevices
