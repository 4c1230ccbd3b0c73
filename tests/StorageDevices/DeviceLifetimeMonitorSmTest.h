// The lifetime monitor with one disk, its records and its history.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "StorageDevices/DeviceLifetimeMonitorSm.h"
#include "StorageDevices/Factories.h"
#include "tests/support/DiskFields.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/TraceRecorder.h"
#include "tests/support/Units.h"
#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {

class DeviceLifetimeMonitorSmTest : public Support::VirtualTimeTest {
 protected:
   using Texts = std::vector<std::string>;
   static constexpr char const * info = "STORAGEDEVICE_LIFETIME_INFO";
   static constexpr char const * warning = "STORAGEDEVICE_LIFETIME_WARNING";

   DeviceLifetimeMonitorSmTest() {
      disk_.writeTo(*devices_);
      smart_->deviceDataIs("KS0001");
      nvme_->deviceDataIs("KS0001");
      history_->ioStatDataIs("KS0001");
      written(0);
      monitor_ = deviceLifetimeMonitorSmFactory(devices_, emmc_, nvme_, smart_, history_);
   }

   // The SMART figure becomes that; its normalised value is another one.
   void life(std::int64_t raw) const {
      SmartAttr attr;
      attr.id = 202;
      attr.name = "Percent_Lifetime_Remain";
      attr.raw = raw;
      attr.value = 7;
      attr.reportedValue = 7;
      smart_->deviceData("KS0001")->lifetimeRemainingIs(OptionalSmartAttr::from(attr));
   }
   // The NVMe figure, percent left.
   void left(std::int64_t percent) const {
      nvme_->deviceData("KS0001")->percentageUsedIs({"percent_used", 100 - percent});
   }
   void written(std::uint64_t bytes) const {
      history_->ioStatData("KS0001")->recordMeasurement(Vorn::System::currentTime(), 1, bytes);
   }
   void later(double days) const { time->jumpBy(days * day); }
   // As after the first reading and the first change: the figure is 90 and its time known.
   void settle() const {
      life(91);
      later(1);
      life(90);
   }
   Texts names() const {
      Texts result;
      for (auto const & message : logs_.messages())
         result.push_back(message.name);
      return result;
   }
   DeviceLifetimeChange const & change() const { return *monitor_->deviceLifetimeChange("KS0001"); }

   Support::DiskFields disk_;
   Support::LogRecorder logs_;
   Support::TraceRecorder traces_{{"StorageDeviceLifetimeMonitorSm", 7}};
   Pelm::Ptr<ConnectedDevices> devices_ = Pelm::make<ConnectedDevices>();
   Pelm::Ptr<EmmcData> emmc_ = Pelm::make<EmmcData>();
   Pelm::Ptr<NvmeData> nvme_ = Pelm::make<NvmeData>();
   Pelm::Ptr<SmartData> smart_ = Pelm::make<SmartData>();
   Pelm::Ptr<IOStatData> history_ = Pelm::make<IOStatData>();
   Pelm::Ptr<DeviceLifetimeMonitorSm> monitor_;
};

}  // namespace StorageDevices
