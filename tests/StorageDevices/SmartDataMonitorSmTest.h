// The SMART monitor with a tool that prints the reports of a test.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "StorageDevices/Factories.h"
#include "StorageDevices/SmartDataMonitorSm.h"
#include "runtime/host/Failure.h"
#include "tests/support/MemoryLimit.h"
#include "tests/support/ToolMonitorTest.h"

namespace StorageDevices {

// Reports of smartctl, and their rows.
struct SmartReports {
   static std::string rowText(int id, std::string const & name, int value, long raw, int thresh = 10) {
      return R"({"id":)" + std::to_string(id) + R"(,"name":")" + name + R"(","value":)" +
             std::to_string(value) + R"(,"worst":99,"thresh":)" + std::to_string(thresh) +
             R"(,"flags":{"value":50},"raw":{"value":)" + std::to_string(raw) + R"(,"string":")" +
             std::to_string(raw) + R"("}})";
   }
   static std::string report(char const * verdict, std::string const & rows) {
      std::string const status =
          *verdict ? R"("smart_status":{"passed":)" + std::string{verdict} + "}," : std::string{};
      return "{" + status + R"("ata_smart_attributes":{"table":[)" + rows + "]}}";
   }
};

class SmartDataMonitorSmTest : public Support::ToolMonitorTest, protected SmartReports {
 protected:
   using Texts = std::vector<std::string>;
   using DiskFields = Support::DiskFields;

   static constexpr char smartctlHandler[] =
       "void StorageDevices::SmartDataMonitorSm::handleSmartctlState(const String&)";
   static constexpr char smartctlRun[] = "smartctl --json=c --offlineauto=on -HA /dev/sda";

   static inline std::string const hoursRow = rowText(9, "Power_On_Hours", 100, 12345);
   static inline std::string const sectors = rowText(5, "Reallocated_Sector_Ct", 100, 3);
   static inline std::string const spinUp = rowText(3, "Spin_Up_Time", 97, 0);
   static inline std::string const healthy = report("true", hoursRow + "," + sectors + "," + spinUp);

   SmartDataMonitorSmTest() : ToolMonitorTest{"smartctl", "StorageSmartDataMonitorSm", {.name = "S1"}} {
      toolPrints(healthy);
   }
   ~SmartDataMonitorSmTest() override {
      monitor_ = nullptr;
      driveDatabaseIs(nullptr);
      EXPECT_TRUE(
          Support::turnInRealTime([&] { return tracker_->orphans() == 0 && !Support::hasChildren(); }));
   }

   void start() { monitor_ = smartDataMonitorSmFactory(interval_, devices_, data_, tracker_); }
   Pelm::Ptr<DeviceSmartData> record() const { return data_->deviceData("S1"); }
   // Everything in the record, a line each.
   Texts content() const {
      DeviceSmartData const & from = *record();
      Texts lines = {std::string{"ok "} + (from.healthStatusOk() ? "true" : "false") +
                     (from.healthStatusRead() ? "" : " unread") + ", passing " +
                     (from.allAttrsPassing() ? "true" : "false") + (from.attrsRead() ? "" : " unread")};
      for (SmartField const & field : smartFields)
         if (auto const & attr = (from.*field.cell)())
            lines.push_back((from.*field.cell).id() + (" " + std::to_string(attr->reportedValue)));
      for (auto const & [id, attr] : from.unknownAttr)
         lines.push_back("unknown " + attr.name.str());
      return lines;
   }
   // A record as the healthy report leaves it, then a poll of something else.
   Texts contentAfter(std::string const & output) {
      toolPrints(healthy);
      plug();
      start();
      poll();
      EXPECT_EQ(content(), healthyContent);
      traces_.clear();
      toolPrints(output);
      poll();
      return content();
   }

   // A poll with that many bytes of memory to spare.
   void pollWith(std::size_t more) {
      Vorn::Host::failureSinkIs([](std::string_view, std::string_view) {});
      {
         Support::MemoryLimit const limit{more};
         poll();
      }
      Vorn::Host::failureSinkIs(nullptr);
      errors_ = traces_.errors();
      traces_.clear();
   }

   Texts errors_;
   Texts const healthyContent = {"ok true, passing true", "reallocatedSectorCount 100", "powerOnHours 12345",
                                 "unknown Spin_Up_Time"};
   Pelm::Ptr<SmartData> data_ = Pelm::make<SmartData>();
   Pelm::Ptr<SmartDataMonitorSm> monitor_;
};

}  // namespace StorageDevices
