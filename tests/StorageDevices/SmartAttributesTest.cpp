#include "StorageDevices/SmartAttributes.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <string>

#include "SmartRecords.h"
#include "SmartRows.h"

namespace StorageDevices {
namespace {

using SmartRecords::recordOf;
using namespace SmartRows;

// The field that a row alone fills; "unknown" when none.
std::string fieldOf(Row const & row) {
   auto const record = readRecord({row});
   EXPECT_EQ(record.fields.size() + record.unknown.size(), 1U);
   return record.fields.empty() ? "unknown" : record.fields.begin()->first;
}

TEST(ParseMemberTest, FollowsThePathAndAsksThePredicate) {
   JsonDocument const document(R"({"a":{"b":{"c":true}},"n":5,"list":[{"b":1}]})");
   auto const isTrue = [](JsonValue const & value) { return value.IsTrue(); };
   ASSERT_NE(parseMember(document.root(), {"a", "b", "c"}), nullptr);
   EXPECT_TRUE(parseMember(document.root(), {"a", "b", "c"}, isTrue)->GetBool());
   EXPECT_EQ(parseMember(document.root(), {"a", "b"}, isTrue), nullptr);
   EXPECT_EQ(parseMember(document.root(), {"a", "x", "c"}), nullptr);
   EXPECT_EQ(parseMember(document.root(), {"n", "b"}), nullptr);
   EXPECT_EQ(parseMember(document.root(), {"list", "b"}), nullptr);
   EXPECT_EQ(parseMember(document.root(), std::initializer_list<std::string_view>{}), &document.root());
   EXPECT_EQ(parseMember(document.root(), "n")->GetInt(), 5);
   EXPECT_EQ(parseMember(document.root(), "n", isTrue), nullptr);
   EXPECT_EQ(parseMember(document.root(), "none"), nullptr);
}

TEST(ParseHealthStatusTest, ReadsTheVerdict) {
   auto const data = Pelm::make<DeviceSmartData>("SN1");
   EXPECT_FALSE(data->healthStatusRead());
   EXPECT_TRUE(parseHealthStatus(JsonDocument(R"({"smart_status":{"passed":true}})").root(), *data));
   EXPECT_TRUE(data->healthStatusOk());
   EXPECT_TRUE(data->healthStatusRead());
   EXPECT_TRUE(parseHealthStatus(JsonDocument(R"({"smart_status":{"passed":false}})").root(), *data));
   EXPECT_FALSE(data->healthStatusOk());
}

TEST(ParseHealthStatusTest, ChangesNothingWithoutAVerdict) {
   auto const data = Pelm::make<DeviceSmartData>("SN1");
   for (bool const before : {false, true}) {
      for (auto const * text : {"{}", "[]", "true", R"({"smart_status":true})", R"({"smart_status":{}})",
                                R"({"smart_status":{"passed":1}})", R"({"smart_status":{"passed":"true"}})",
                                R"({"smart_status":{"passed":null}})", R"({"passed":false})"}) {
         EXPECT_FALSE(parseHealthStatus(JsonDocument(text).root(), *data)) << text;
         EXPECT_EQ(data->healthStatusOk(), before);
         EXPECT_EQ(data->healthStatusRead(), before);
      }
      data->healthStatusOkIs(true);
      data->healthStatusReadIs(true);
   }
}

TEST(SmartAttrsTableTest, IsTheArrayOrNothing) {
   JsonDocument const document(R"({"ata_smart_attributes":{"revision":1,"table":[7]}})");
   ASSERT_NE(smartAttrsTable(document.root()), nullptr);
   EXPECT_EQ((*smartAttrsTable(document.root()))[0].GetInt(), 7);
   for (auto const * text : {"{}", "[]", R"({"ata_smart_attributes":[]})", R"({"ata_smart_attributes":{}})",
                             R"({"ata_smart_attributes":{"table":{}}})", R"({"table":[]})"})
      EXPECT_EQ(smartAttrsTable(JsonDocument(text).root()), nullptr) << text;
}

TEST(SmartAttributesTest, PassesAnEmptyTable) {
   auto const data = read({});
   EXPECT_TRUE(data->allAttrsPassing());
   EXPECT_TRUE(data->attrsRead());
   EXPECT_TRUE(recordOf(*data).fields.empty());
   EXPECT_TRUE(data->unknownAttr.empty());
}

TEST(SmartAttributesTest, KeepsTheWholeRow) {
   Row const given = row(5, "Reallocated_Sector_Ct", 98, 3, "3 (0 1)");
   SmartAttr const expected{.id = 5,
                            .name = "Reallocated_Sector_Ct",
                            .thresh = 10,
                            .value = 98,
                            .worst = 99,
                            .flags = 51,
                            .raw = 3,
                            .rawString = "3 (0 1)",
                            .reportedValue = 98};
   EXPECT_EQ(*read({given})->reallocatedSectorCount(), expected);
   Row unnamed = given;
   unnamed.name = "\"Reallocated_Sectors\"";
   auto const unknown = read({unnamed})->unknownAttr(5);
   ASSERT_TRUE(unknown);
   EXPECT_EQ(unknown->rawString, "3 (0 1)");
   EXPECT_EQ(unknown->reportedValue, 98);
}

TEST(SmartAttributesTest, ReportsHoursByTheirRawValueAndCountsByTheirValue) {
   auto const data =
       read({row(9, "Power_On_Hours", 100, 12345), row(5, "Reallocated_Sector_Ct", 100, 3),
             row(12, "Power_Cycle_Count", 97, 5000), row(241, "Host_Writes_32MiB", 96, 1LL << 40)});
   EXPECT_EQ(data->powerOnHours()->reportedValue, 12345);
   EXPECT_EQ(data->reallocatedSectorCount()->reportedValue, 100);
   EXPECT_EQ(data->powerCycleCount()->reportedValue, 97);
   EXPECT_EQ(data->totalLbasWritten()->reportedValue, 96);
   EXPECT_EQ(data->totalLbasWritten()->raw, 1LL << 40);
}

TEST(SmartAttributesTest, StoresTheFirstOfTwoRowsOfOneMeaning) {
   Row const chip = row(172, "Erase_Fail_Count", 90);
   Row const total = row(182, "Erase_Fail_Count_Total", 80);
   auto const data = read({chip, total});
   EXPECT_EQ(data->eraseFailCountTotal()->name, "Erase_Fail_Count");
   EXPECT_EQ(data->unknownAttr(182)->name, "Erase_Fail_Count_Total");
   EXPECT_EQ(data->unknownAttr.size(), 1U);
   auto const reversed = read({total, chip});
   EXPECT_EQ(reversed->eraseFailCountTotal()->value, 80);
   EXPECT_EQ(reversed->unknownAttr(172)->value, 90);
}

TEST(SmartAttributesTest, AcceptsLifetimeNamesUnderAnyNumber) {
   for (auto const * name : {"Percent_Lifetime_Used", "Perc_Rated_Life_Used", "Percent_Lifetime_Remain",
                             "Remainig_Lifetime_Perc", "Lifetime_Remaining%"})
      for (int const id : {0, 1, 9, 194, 202, 255})
         EXPECT_EQ(fieldOf(row(id, name)), "lifetimeRemaining") << name << id;
   EXPECT_EQ(fieldOf(row(169, "Remaining_Lifetime_Perc")), "unknown");
   EXPECT_EQ(fieldOf(row(202, "percent_lifetime_remain")), "unknown");
   auto const data = read({row(202, "Percent_Lifetime_Remain", 97, 3), row(231, "Percent_Lifetime_Used", 3)});
   EXPECT_EQ(data->lifetimeRemaining()->reportedValue, 97);
   EXPECT_EQ(data->unknownAttr(231)->name, "Percent_Lifetime_Used");
}

TEST(SmartAttributesTest, AcceptsOtherNamesUnderTheirNumberOnly) {
   EXPECT_EQ(fieldOf(row(171, "Program_Fail_Count")), "programFailCountTotal");
   EXPECT_EQ(fieldOf(row(181, "Program_Fail_Count")), "unknown");
   EXPECT_EQ(fieldOf(row(182, "Erase_Fail_Count")), "unknown");
   EXPECT_EQ(fieldOf(row(172, "Erase_Fail_Count_Total")), "unknown");
   EXPECT_EQ(fieldOf(row(10, "Power_On_Hours")), "unknown");
   EXPECT_EQ(fieldOf(row(9, "power_on_hours")), "unknown");
   EXPECT_EQ(fieldOf(row(9, "Power_On_Hours ")), "unknown");
   EXPECT_EQ(fieldOf(row(9, "Power_On_Hour")), "unknown");
   EXPECT_EQ(fieldOf(row(9, "Power_On_Hours\\u0000")), "unknown");
   EXPECT_EQ(fieldOf(row(242, "Total_LBAs_Written")), "unknown");
}

TEST(SmartAttributesTest, ReadsATemperatureFromTheRawText) {
   constexpr long long packed = 36 + (20LL << 16) + (45LL << 32);
   auto const data = read({row(194, "Temperature_Celsius", 64, packed, "31 (Min/Max 20/45)")});
   EXPECT_EQ(data->temperatureCelsius()->reportedValue, 31);
   Row withoutText = row(194, "Temperature_Celsius", 64, packed);
   withoutText.raw = "{\"value\":" + std::to_string(packed) + "}";
   EXPECT_EQ(read({withoutText})->temperatureCelsius()->reportedValue, 36);
   EXPECT_EQ(fieldOf(row(194, "Temperature_Celsius", 100, 200)), "unknown");
   EXPECT_EQ(fieldOf(row(190, "Temperature_Celsius", 100, 36)), "unknown");
   // An implausible row leaves the place to a plausible one.
   auto const second =
       read({row(194, "Temperature_Celsius", 1, 255), row(194, "Temperature_Celsius", 2, 40)});
   EXPECT_EQ(second->temperatureCelsius()->reportedValue, 40);
   EXPECT_EQ(second->unknownAttr(194)->value, 1);
}

// The row under test stands between two good ones.
SmartRecords::Record readBetween(Row const & middle) {
   return readRecord({row(9, "Power_On_Hours"), middle, row(12, "Power_Cycle_Count")});
}

TEST(SmartAttributesTest, SkipsAMalformedRowWholeAndAlone) {
   auto const others = readRecord({row(9, "Power_On_Hours"), row(12, "Power_Cycle_Count")});
   auto const bad = {
       "-1",   "256", "300", "18446744073709551615", "18446744073709551616", "1.0", "1e2", "\"5\"", "null",
       "true", "[]",  "{}"};
   for (std::string Row::*const member : {&Row::id, &Row::value, &Row::worst, &Row::thresh}) {
      for (auto const * json : bad) {
         Row given{.value = "1"};  // failing, were it read
         given.*member = json;
         EXPECT_EQ(readBetween(given), others) << given.text();
      }
   }
   for (auto const * json : bad) {
      Row given{.value = "1"};
      given.flags = "{\"value\":" + std::string(json) + "}";
      EXPECT_EQ(readBetween(given), others) << given.text();
   }
   for (auto const * json : {"7", "null", "[\"Reallocated_Sector_Ct\"]", "{}", "true"}) {
      Row given{.value = "1"};
      given.name = json;
      EXPECT_EQ(readBetween(given), others) << given.text();
   }
   for (std::string Row::*const member :
        {&Row::id, &Row::name, &Row::value, &Row::worst, &Row::flags, &Row::raw}) {
      Row given{.value = "1"};
      given.*member = "";
      EXPECT_EQ(readBetween(given), others) << given.text();
   }
}

TEST(SmartAttributesTest, SkipsARowThatIsNoObject) {
   JsonDocument const table("[5,null,\"Power_On_Hours\",[],{}," + row(9, "Power_On_Hours").text() + "]");
   auto const data = Pelm::make<DeviceSmartData>("SN1");
   parseSmartAttrs(table.root(), *data, {});
   EXPECT_EQ(recordOf(*data), readRecord({row(9, "Power_On_Hours")}));
}

TEST(SmartAttributesTest, AcceptsAnyRawValueOfSixtyFourSignedBits) {
   auto const rawOf = [](std::string const & json) -> std::optional<std::int64_t> {
      Row given;
      given.raw = "{\"value\":" + json + "}";
      auto const record = readRecord({given});
      return record.fields.empty() ? std::nullopt
                                   : std::optional(record.fields.at("reallocatedSectorCount").raw);
   };
   EXPECT_EQ(rawOf("-1"), -1);
   EXPECT_EQ(rawOf("9007199254740993"), 9007199254740993);
   EXPECT_EQ(rawOf("9223372036854775807"), INT64_MAX);
   EXPECT_EQ(rawOf("-9223372036854775808"), INT64_MIN);
   for (auto const * json : {"9223372036854775808", "18446744073709551615", "18446744073709551616",
                             "-9223372036854775809", "1.0", "1e2", "\"1\"", "null", "{}"})
      EXPECT_EQ(rawOf(json), std::nullopt) << json;
}

TEST(SmartAttributesTest, AcceptsAMissingRawText) {
   for (auto const * json : {R"({"value":3})", R"({"value":3,"string":7})", R"({"value":3,"string":null})"}) {
      Row given;
      given.raw = json;
      ASSERT_TRUE(read({given})->reallocatedSectorCount()) << json;
      EXPECT_EQ(read({given})->reallocatedSectorCount()->rawString, "") << json;
   }
}

TEST(SmartAttributesTest, TreatsAMissingThresholdAsNone) {
   Row given{.value = "1"};
   given.thresh = "";
   auto const data = read({given});
   EXPECT_EQ(data->reallocatedSectorCount()->thresh, 0);
   EXPECT_TRUE(data->allAttrsPassing());
}

TEST(SmartAttributesTest, FailsTheTableForOneRowAtItsThreshold) {
   Row const failing{.value = "10"};
   EXPECT_TRUE(read({Row{.value = "11"}})->allAttrsPassing());
   EXPECT_FALSE(read({failing})->allAttrsPassing());
   EXPECT_FALSE(read({failing, row(9, "Power_On_Hours")})->allAttrsPassing());
   EXPECT_FALSE(read({row(9, "Power_On_Hours"), failing})->allAttrsPassing());
   Row unknown = failing;
   unknown.name = "\"Vendor_Specific\"";
   EXPECT_FALSE(read({unknown})->allAttrsPassing());
   Row skipped = failing;
   skipped.thresh = "300";
   EXPECT_TRUE(read({skipped})->allAttrsPassing());
}

TEST(SmartAttributesTest, KeepsTheLastOfUnknownRowsWithOneNumber) {
   auto const data = read({row(170, "First", 1), row(171, "Other", 2), row(170, "Last", 3)});
   EXPECT_EQ(data->unknownAttr.size(), 2U);
   EXPECT_EQ(data->unknownAttr(170)->name, "Last");
}

}  // namespace
}  // namespace StorageDevices
