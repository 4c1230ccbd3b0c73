// What becomes of a good report when memory ends while it is filed: a failed reading, whichever of the
// allocations fails.
#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <string>

#include "StorageDevices/Factories.h"
#include "StorageDevices/NvmeDataMonitorSm.h"
#include "StorageDevices/SmartDataMonitorSm.h"
#include "tests/support/FailingAllocations.h"
#include "tests/support/ToolMonitorTest.h"

namespace {

int allocationsLeft = INT_MAX;  // until the one that fails

}  // namespace

bool Support::refusesAllocation(std::size_t /*bytes*/) {
   return allocationsLeft != INT_MAX && --allocationsLeft == 0;
}

namespace StorageDevices {

namespace {

using Texts = std::vector<std::string>;

class FilingWithoutMemory : public Support::ToolMonitorTest {
 protected:
   using ToolMonitorTest::ToolMonitorTest;

   // Files with the given allocation failing; whether it was made.
   template <class Action>
   static bool failed(int allocation, Action const & file) {
      allocationsLeft = allocation;
      file();
      bool const wasMade = allocationsLeft <= 0;
      allocationsLeft = INT_MAX;
      return wasMade;
   }
};

class SmartFilingTest : public FilingWithoutMemory {
 protected:
   SmartFilingTest() : FilingWithoutMemory{"smartctl", "StorageSmartDataMonitorSm", {.name = "S1"}} {}

   static std::string row(int id, char const * name, int raw) {
      return R"({"id":)" + std::to_string(id) + R"(,"name":")" + name +
             R"(","value":90,"worst":90,"thresh":1,"flags":{"value":3},"raw":{"value":)" +
             std::to_string(raw) + R"(,"string":"a text with no place in its string"}})";
   }
};

TEST_F(SmartFilingTest, CountsAFailedReadingWhereverAnAllocationFails) {
   auto const data = Pelm::make<SmartData>();
   auto const monitor = smartDataMonitorSmFactory(interval_, devices_, data, tracker_);
   plug();
   auto const record = data->deviceData("S1");
   int allocation = 0;
   for (bool wasMade = true; wasMade && allocation < 1000;) {
      // Another one each time, so that all of it is filed.
      ++allocation;
      toolPrints(R"({"smart_status":{"passed":true},"ata_smart_attributes":{"table":[)" +
                 row(5, "Reallocated_Sector_Ct", allocation) + "," + row(3 + allocation % 2, "Other", 1) +
                 "]}}");
      pollWithoutFiling(*monitor, [&] { return monitor->smartctlProcess("S1"); });
      auto const before = record->reading.count();
      traces_.clear();
      wasMade = failed(allocation, [&] { EXPECT_NO_THROW(monitor->handleSmartctlState("S1")); });
      Texts const error{
          "void StorageDevices::SmartDataMonitorSm::handleSmartctlState(const String&)"
          " JSON parsing error: Terminate parsing due to Handler error."};
      EXPECT_EQ(traces_.errors(), wasMade ? error : Texts{}) << allocation;
      EXPECT_EQ(record->reading.count(), before + (wasMade ? 0 : 1)) << allocation;
      EXPECT_TRUE(monitor->smartctlProcess.empty()) << allocation;
   }
   EXPECT_EQ(record->reallocatedSectorCount()->raw, allocation);
   EXPECT_GT(allocation, 10);
   EXPECT_LT(allocation, 1000);
}

class NvmeFilingTest : public FilingWithoutMemory {
 protected:
   NvmeFilingTest()
       : FilingWithoutMemory{
             "nvme",
             "StorageNvmeDataMonitorSm",
             {.name = "N1", .blockDevice = "/dev/nvme0n1", .busType = ConnectedDisk::BusType::nvme}} {}
};

TEST_F(NvmeFilingTest, CountsAFailedReadingWhereverAnAllocationFails) {
   auto const data = Pelm::make<NvmeData>();
   auto const monitor = nvmeDataMonitorSmFactory(interval_, devices_, data, tracker_);
   plug();
   auto const record = data->deviceData("N1");
   std::string log = "{";
   for (NvmeField const & field : nvmeFields)
      log += (log.size() > 1 ? ",\"" : "\"") + std::string{field.key} + "\":300";
   toolPrints(log + "}");
   int allocation = 0;
   for (bool wasMade = true; wasMade && allocation < 1000;) {
      ++allocation;
      pollWithoutFiling(*monitor, [&] { return monitor->nvmeCliProcess("N1"); });
      auto const before = record->reading.count();
      traces_.clear();
      wasMade = failed(allocation, [&] { EXPECT_NO_THROW(monitor->handleNvmeCliState("N1")); });
      Texts const error{
          "void StorageDevices::NvmeDataMonitorSm::handleNvmeCliState(const String&)"
          " JSON parsing error: Terminate parsing due to Handler error."};
      EXPECT_EQ(traces_.errors(), wasMade ? error : Texts{}) << allocation;
      EXPECT_EQ(record->reading.count(), before + (wasMade ? 0 : 1)) << allocation;
   }
   EXPECT_EQ(record->criticalWarning().value, 300);
   EXPECT_GT(allocation, 10);
   EXPECT_LT(allocation, 1000);
}

}  // namespace

}  // namespace StorageDevices
