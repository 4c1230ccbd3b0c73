// What reports take of memory, and what becomes of them without it.
#include <gtest/gtest.h>

#include <chrono>
#include <utility>

#include "tests/StorageDevices/SmartDataMonitorSmTest.h"
#include "tests/support/MemoryLimit.h"
#include "tests/support/RealTimeLimit.h"

namespace StorageDevices {

namespace {

constexpr std::size_t largeOutput = 3993600;  // bytes, just below what a tool may print

#ifndef STORAGEDEVICES_SANITIZED  // sanitizers need more address space than these limits

TEST_F(SmartDataMonitorSmTest, UsesNoMoreMemoryForThousandsOfLargeReportsThanForTheFirst) {
   // Code that is not optimised takes some twenty seconds of processor time.
   Support::RealTimeLimit const limit{std::chrono::minutes{5}};
   constexpr int readings = 2000;
   constexpr int first = 200;
   std::string rows = hoursRow;
   while (rows.size() < 100000)
      rows += "," + rowText(9, "Power_On_Hours", 100, 12345);
   folder_.writeScript("smartctl",
                       "exec cat \"" + folder_.write("large", report("true", rows)).string() + "\"");
   plug();
   start();
   std::size_t before = 0;
   for (int reading = 0; reading < readings; ++reading) {
      poll();
      before = reading == first ? Support::MemoryUse::now().resident : before;
   }
   EXPECT_GT(record()->reading.count(), 0U + readings - 1);
   EXPECT_LT(Support::MemoryUse::now().resident, before + (std::size_t{1} << 20U));
}

// As much as a tool may print.
TEST_F(SmartDataMonitorSmTest, ChangesNothingForAReportWithoutMemoryForIt) {
   plug();
   start();
   poll();
   std::string hostile = "[0";
   while (hostile.size() < largeOutput)
      hostile += ",0";
   toolPrints(hostile + "]");
   for (std::size_t const more : {0, 1, 4, 8, 16, 32}) {
      pollWith(more << 20U);
      EXPECT_TRUE(monitor_->smartctlProcess.empty()) << more;
      EXPECT_EQ(content(), healthyContent) << more;
      EXPECT_FALSE(std::exchange(errors_, {}).empty()) << more;
   }
   toolPrints(healthy);
   poll();
   EXPECT_EQ(record()->reading.count(), 2U);
}

TEST_F(SmartDataMonitorSmTest, StoresAReportWholeOrNotAtAllWithLittleMemoryForItsText) {
   plug();
   start();
   std::string const padding(largeOutput, 'x');
   int filed = 0;
   for (std::size_t const more : {0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 100}) {
      toolPrints(healthy);
      poll();
      toolPrints(report("false", rowText(9, padding, 100, 1)));
      auto const before = record()->reading.count();
      pollWith(more << 20U);
      bool const isFiled = record()->reading.count() != before;
      EXPECT_NE(isFiled, content() == healthyContent) << more;
      EXPECT_NE(isFiled, !std::exchange(errors_, {}).empty()) << more;
      EXPECT_NE(isFiled, bool{record()->reading.failure()}) << more;
      filed += isFiled ? 1 : 0;
   }
   EXPECT_GT(filed, 0);
}

#endif

}  // namespace

}  // namespace StorageDevices
