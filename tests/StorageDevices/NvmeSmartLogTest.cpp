#include "StorageDevices/NvmeSmartLog.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <string>

#include "NaiveHealth.h"
#include "tests/support/ChangeRecorder.h"
#include "tests/support/TraceRecorder.h"

namespace StorageDevices {
namespace {

using NaiveHealth::logFields;

constexpr char fullLog[] =
    R"({"critical_warning":1,"temperature":310,"avail_spare":99,"spare_thresh":10,"percent_used":3,)"
    R"("data_units_read":400,"data_units_written":500,"host_read_commands":600,"host_write_commands":700,)"
    R"("controller_busy_time":8,"power_cycles":9,"power_on_hours":11,"unsafe_shutdowns":12,"media_errors":13,)"
    R"("num_err_log_entries":14,"warning_temp_time":15,"critical_comp_time":16,"thm_temp1_trans_count":17})";

class NvmeSmartLogTest : public testing::Test {
 protected:
   // Reads a log that is JSON into the record.
   void read(std::string const & text) {
      traces.clear();
      JsonDocument const document(text);
      ASSERT_EQ(document.error(), "") << text;
      parseAndInsertNvmeAttrs(document.root(), *record);
   }
   // The full log, with one member's JSON replaced, or without it where that is empty.
   void readWith(std::string const & key, std::string const & json) {
      std::string text = fullLog;
      auto const start = text.find("\"" + key + "\":");
      auto const end = text.find_first_of(",}", start) + 1;
      text.replace(start, end - start, json.empty() ? "" : "\"" + key + "\":" + json + ",");
      read(text);
   }
   std::vector<std::int64_t> values() const {
      std::vector<std::int64_t> result;
      for (auto const & field : logFields)
         result.push_back(((*record).*field.cell)().value);
      return result;
   }

   Support::TraceRecorder traces{{"StorageNvmeDataMonitorSm", 9}};
   Pelm::Ptr<DeviceNvmeData> const record = Pelm::make<DeviceNvmeData>("SN1");
};

TEST_F(NvmeSmartLogTest, FillsEveryFieldFromItsKey) {
   for (auto const & field : logFields) {
      EXPECT_EQ(((*record).*field.cell)(), NvmeAttr());
      EXPECT_STREQ(((*record).*field.cell).id(), field.name);
   }
   read(fullLog);
   EXPECT_EQ(values(),
             (std::vector<std::int64_t>{1, 37, 99, 10, 3, 400, 500, 600, 700, 8, 9, 11, 12, 13, 14, 15, 16}));
   for (auto const & field : logFields)
      EXPECT_EQ(((*record).*field.cell)().name, field.key);
   EXPECT_TRUE(traces.lines().empty());
}

TEST_F(NvmeSmartLogTest, ConvertsKelvinToDegreesCelsius) {
   for (auto const & [kelvin, celsius] :
        {std::pair("310", 37LL), std::pair("273", 0LL), std::pair("0", -273LL),
         std::pair("2147483647", 2147483374LL), std::pair("-2147483648", -2147483921LL)}) {
      readWith("temperature", kelvin);
      EXPECT_EQ(record->temperatureCelsius().value, celsius);
      EXPECT_TRUE(traces.lines().empty());
   }
}

TEST_F(NvmeSmartLogTest, StoresZeroForAMissingKeyAndTracesOnce) {
   for (auto const & field : logFields) {
      readWith(field.key, "");
      EXPECT_EQ(((*record).*field.cell)(), (NvmeAttr{field.key, 0}));
      std::vector<std::string> const expected{
          std::string("StorageDevices::NvmeAttr StorageDevices::parseAttr(const Document&, const char*)") +
          "Property " + field.key + " does not exist in nvme smart-log output"};
      EXPECT_EQ(traces.errors(), expected);
      EXPECT_EQ(traces.lines().size(), 1U);
      auto const all = values();
      EXPECT_EQ(std::count(all.begin(), all.end(), 0), 1) << field.key;
   }
}

TEST_F(NvmeSmartLogTest, StoresZeroForAValueThatIsNoWholeNumberAndTracesOnce) {
   for (auto const & field : logFields) {
      for (auto const * json :
           {"\"310\"", "310.0", "3.1e2", "1E2", "null", "true", "[310]", "{\"value\":310}",
            "9223372036854775808", "18446744073709551616", "-9223372036854775809"}) {
         readWith(field.key, json);
         EXPECT_EQ(((*record).*field.cell)(), (NvmeAttr{field.key, 0})) << json;
         std::vector<std::string> const expected{
             std::string("StorageDevices::NvmeAttr StorageDevices::parseAttr(const Document&, const char*)") +
             "Property " + field.key + " is not in expected format"};
         EXPECT_EQ(traces.errors(), expected) << json;
         auto const all = values();
         EXPECT_EQ(std::count(all.begin(), all.end(), 0), 1) << field.key;
      }
   }
}

TEST_F(NvmeSmartLogTest, ReadsValuesOfSixtyFourSignedBitsAndATemperatureOfThirtyTwo) {
   for (auto const & field : logFields) {
      bool const isTemperature = std::string(field.key) == "temperature";
      for (std::int64_t const value : {std::int64_t{INT64_MAX}, std::int64_t{INT64_MIN},
                                       std::int64_t{2147483648}, std::int64_t{-2147483649}}) {
         readWith(field.key, std::to_string(value));
         EXPECT_EQ(((*record).*field.cell)().value, isTemperature ? 0 : value);
         EXPECT_EQ(traces.errors().size(), isTemperature ? 1U : 0U);
      }
   }
}

TEST_F(NvmeSmartLogTest, OverwritesEveryFieldWithALaterLog) {
   read(fullLog);
   read("{}");
   for (auto const & field : logFields)
      EXPECT_EQ(((*record).*field.cell)(), (NvmeAttr{field.key, 0}));
   EXPECT_EQ(traces.errors().size(), std::size(logFields));
}

TEST_F(NvmeSmartLogTest, StoresFieldsInTheOrderOfTheLog) {
   read("{}");
   std::vector<std::string> expected;
   for (auto const & field : logFields)
      expected.push_back(std::string{NaiveHealth::logTraceStart} + field.key +
                         " does not exist in nvme smart-log output");
   EXPECT_EQ(traces.errors(), expected);
}

TEST_F(NvmeSmartLogTest, NotifiesSubscribersOfChangesAlone) {
   read(fullLog);
   Support::ChangeRecorder const hours(record->powerOnHours);
   Support::ChangeRecorder const cycles(record->powerCycleCount);
   readWith("power_on_hours", "12");
   ASSERT_EQ(hours.count(), 1U);
   EXPECT_EQ(hours.changes()[0].old.value(), (NvmeAttr{"power_on_hours", 11}));
   EXPECT_EQ(hours.changes()[0].now.value(), (NvmeAttr{"power_on_hours", 12}));
   EXPECT_EQ(cycles.count(), 0U);
}

TEST_F(NvmeSmartLogTest, UsesTheFirstOfTwoMembersOfOneName) {
   read(R"({"power_cycles":1,"power_cycles":2,"media_errors":"x","media_errors":3})");
   EXPECT_EQ(record->powerCycleCount().value, 1);
   EXPECT_EQ(record->mediaErrors().value, 0);
}

TEST_F(NvmeSmartLogTest, ComparesTheWholeKey) {
   read(R"({"power_cycles\u0000":1,"Power_cycles":2,"power_cycle":3,"power_cycless":4})");
   EXPECT_EQ(record->powerCycleCount().value, 0);
   EXPECT_EQ(traces.count(0,
                          "StorageDevices::NvmeAttr StorageDevices::parseAttr(const Document&, const char*)"
                          "Property power_cycles does not exist in nvme smart-log output"),
             1);
}

TEST(NvmeDataTest, KeepsRecordsUntilTheyAreDeleted) {
   auto const all = Pelm::make<NvmeData>();
   all->deviceDataIs("SN1");
   auto const first = all->deviceData("SN1");
   ASSERT_TRUE(first);
   EXPECT_EQ(first->name(), "SN1");
   all->deviceDataIs("SN1");
   EXPECT_EQ(all->deviceData("SN1"), first);
   all->deviceDataDel("SN1");
   EXPECT_FALSE(all->deviceData("SN1"));
}

}  // namespace
}  // namespace StorageDevices
