// The drive database's say in where an attribute goes.
#include <gtest/gtest.h>

#include "SmartRecords.h"
#include "SmartRows.h"
#include "StorageDevices/SmartAttributes.h"

namespace StorageDevices {
namespace {

using namespace SmartRows;

constexpr SmartField hoursField{&DeviceSmartData::powerOnHours, &DeviceSmartData::powerOnHoursIs};

TEST(SmartMappingTest, StoresAMappedNumberInItsFieldWhateverItsName) {
   DriveSmartMapping const mapping{{240, {.field = hoursField}}};
   auto const data = read({row(240, "Vendor_Specific", 91, 12345)}, mapping);
   EXPECT_EQ(data->powerOnHours()->name, "Vendor_Specific");
   EXPECT_EQ(data->powerOnHours()->reportedValue, 91);
   EXPECT_TRUE(data->unknownAttr.empty());
}

TEST(SmartMappingTest, OverwritesTheFieldOfAMappedRow) {
   DriveSmartMapping const mapping{{240, {.field = hoursField}}};
   Row const usual = row(9, "Power_On_Hours", 100, 7);
   auto const data = read({usual, row(240, "A", 91), row(240, "B", 92)}, mapping);
   EXPECT_EQ(data->powerOnHours()->name, "B");
   EXPECT_TRUE(data->unknownAttr.empty());
   auto const reversed = read({row(240, "A", 91), usual}, mapping);
   EXPECT_EQ(reversed->powerOnHours()->name, "A");
   EXPECT_EQ(reversed->unknownAttr(9)->name, "Power_On_Hours");
}

TEST(SmartMappingTest, TreatsAnIgnoredRowAsUnknown) {
   DriveSmartMapping const mapping{{9, {.field = hoursField, .ignore = true}}, {202, {.ignore = true}}};
   auto const data = read({row(9, "Power_On_Hours"), row(202, "Percent_Lifetime_Remain")}, mapping);
   EXPECT_FALSE(data->powerOnHours());
   EXPECT_FALSE(data->lifetimeRemaining());
   EXPECT_EQ(data->unknownAttr(9)->name, "Power_On_Hours");
   EXPECT_EQ(data->unknownAttr(202)->name, "Percent_Lifetime_Remain");
}

TEST(SmartMappingTest, ReportsTheValueOfTheFunctionOrTheNormalisedOne) {
   auto const minutesToHours = [](SmartAttr const & attr) { return attr.raw / 60; };
   Row const given = row(9, "Power_On_Hours", 100, 6000);
   auto const computed = read({given}, {{9, {.field = hoursField, .value = minutesToHours}}});
   EXPECT_EQ(computed->powerOnHours()->reportedValue, 100);
   EXPECT_EQ(computed->powerOnHours()->raw, 6000);
   Row const worn = row(9, "Power_On_Hours", 88, 6000);
   EXPECT_EQ(
       read({worn}, {{9, {.field = hoursField, .value = minutesToHours}}})->powerOnHours()->reportedValue,
       100);
   EXPECT_EQ(read({worn}, {{9, {.field = hoursField}}})->powerOnHours()->reportedValue, 88);
   EXPECT_EQ(read({worn}, {{10, {.field = hoursField}}})->powerOnHours()->reportedValue, 6000);
}

TEST(SmartMappingTest, StoresAMappedLifetimeNameInItsMappedField) {
   auto const data = read({row(202, "Percent_Lifetime_Remain", 97)}, {{202, {.field = hoursField}}});
   EXPECT_FALSE(data->lifetimeRemaining());
   EXPECT_EQ(data->powerOnHours()->reportedValue, 97);
}

TEST(SmartMappingTest, StoresAnImplausibleTemperatureWhenItIsMapped) {
   constexpr SmartField temperature{&DeviceSmartData::temperatureCelsius,
                                    &DeviceSmartData::temperatureCelsiusIs};
   auto const data = read({row(194, "Temperature_Celsius", 60, 255)}, {{194, {.field = temperature}}});
   EXPECT_EQ(data->temperatureCelsius()->reportedValue, 60);
}

TEST(MaybeInsertKnownAttrTest, AnswersWhetherItStoredTheRow) {
   auto const data = Pelm::make<DeviceSmartData>("SN1");
   SmartAttr const attr = SmartRecords::row(9, "Power_On_Hours", 5);
   EXPECT_TRUE(maybeInsertKnownAttr(*data, attr, {}));
   EXPECT_FALSE(maybeInsertKnownAttr(*data, attr, {}));
   EXPECT_TRUE(maybeInsertKnownAttr(*data, attr, {{9, {.field = hoursField}}}));
   EXPECT_FALSE(maybeInsertKnownAttr(*data, attr, {{9, {.field = hoursField, .ignore = true}}}));
   EXPECT_FALSE(maybeInsertKnownAttr(*data, attr, {{9, {}}})) << "an entry without a field";
   EXPECT_FALSE(maybeInsertKnownAttr(*data, SmartRecords::row(3, "Spin_Up_Time"), {}));
   EXPECT_TRUE(data->unknownAttr.empty());
   insertAttr(*data, attr, {});
   EXPECT_EQ(data->unknownAttr.size(), 1U);
}

TEST(SmartMappingTest, KeepsTheReportedValueOfAnEntryWithoutAFunction) {
   SmartAttr attr;
   attr.id = 9;
   attr.name = "Power_On_Hours";
   attr.value = 88;
   attr.raw = 5;
   attr.reportedValue = 77;
   auto const record = Pelm::make<DeviceSmartData>("S");
   DriveSmartMapping mapping;
   mapping[9].field = {&DeviceSmartData::powerOnHours, &DeviceSmartData::powerOnHoursIs};
   EXPECT_TRUE(maybeInsertKnownAttr(*record, attr, mapping));
   EXPECT_EQ(record->powerOnHours()->reportedValue, 77);
}

TEST(SmartMappingTest, ReportsTheNormalisedValueOfALifetimeName) {
   SmartAttr attr;
   attr.id = 202;
   attr.value = 88;
   attr.raw = 5;
   attr.reportedValue = 77;
   for (char const * const name : {"Percent_Lifetime_Used", "Perc_Rated_Life_Used", "Percent_Lifetime_Remain",
                                   "Remainig_Lifetime_Perc", "Lifetime_Remaining%"}) {
      attr.name = name;
      auto const record = Pelm::make<DeviceSmartData>("S");
      EXPECT_TRUE(maybeInsertKnownAttr(*record, attr, {}));
      EXPECT_EQ(record->lifetimeRemaining()->reportedValue, 88) << name;
   }
}

}  // namespace
}  // namespace StorageDevices
