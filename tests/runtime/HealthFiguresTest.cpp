#include "runtime/model/HealthFigures.h"

#include <gtest/gtest.h>

namespace StorageDevices {
namespace {

OptionalSmartAttr row(char const * name, std::uint8_t value, std::int64_t raw, char const * rendered = "") {
   SmartAttr attr;
   attr.name = name;
   attr.value = value;
   attr.raw = raw;
   attr.rawString = rendered;
   attr.reportedValue = value;
   return OptionalSmartAttr::from(attr);
}

class HealthFiguresTest : public testing::Test {
 protected:
   std::optional<double> smartLife(char const * name, std::uint8_t value, std::int64_t raw) const {
      smart->lifetimeRemainingIs(row(name, value, raw));
      return lifeLeft(*smart);
   }
   std::optional<double> emmcLife(std::uint8_t a, std::uint8_t b) const {
      emmc->lifetimeEstTypAIs(LifetimeEmmcAttr{a});
      emmc->lifetimeEstTypBIs(LifetimeEmmcAttr{b});
      return lifeLeft(*emmc);
   }
   std::optional<double> smartHours(std::int64_t raw, char const * rendered) const {
      SmartAttr attr;
      attr.raw = attr.reportedValue = raw;
      attr.rawString = rendered;
      smart->powerOnHoursIs(OptionalSmartAttr::from(attr));
      return powerOnHours(*smart);
   }
   std::optional<double> smartWritten(char const * name, std::int64_t raw) const {
      smart->totalLbasWrittenIs(row(name, 99, raw));
      return bytesWritten(*smart);
   }

   Pelm::Ptr<DeviceSmartData> smart = Pelm::make<DeviceSmartData>("S");
   Pelm::Ptr<DeviceNvmeData> nvme = Pelm::make<DeviceNvmeData>("N");
   Pelm::Ptr<DeviceEmmcData> emmc = Pelm::make<DeviceEmmcData>("E");
};

TEST_F(HealthFiguresTest, HasNoneForRecordsThatWereNeverRead) {
   EXPECT_FALSE(lifeLeft(*smart));
   EXPECT_FALSE(lifeLeft(*nvme));
   EXPECT_FALSE(lifeLeft(*emmc));
   EXPECT_FALSE(bytesWritten(*smart));
   EXPECT_FALSE(bytesWritten(*nvme));
   EXPECT_FALSE(bytesWritten(*Pelm::make<IOStat>()));
   EXPECT_FALSE(powerOnHours(*smart));
   EXPECT_FALSE(powerOnHours(*nvme));
   EXPECT_FALSE(temperature(*smart));
   EXPECT_FALSE(temperature(*nvme));
}

TEST_F(HealthFiguresTest, ReadsSmartLifeFromTheNormalisedValueWhateverTheRawOne) {
   EXPECT_EQ(smartLife("Percent_Lifetime_Remain", 95, 5), 95);
   EXPECT_EQ(smartLife("Percent_Lifetime_Remain", 93, 93), 93);
   EXPECT_EQ(smartLife("Perc_Rated_Life_Used", 98, 2), 98);
   EXPECT_EQ(smartLife("Percent_Lifetime_Used", 0, 130), 0);
   EXPECT_EQ(smartLife("Percent_Lifetime_Used", 50, 50), 50);
}

TEST_F(HealthFiguresTest, LeavesSmartLifeUnknownForRisingValuesAndOtherScales) {
   EXPECT_FALSE(smartLife("Percent_Lifetime_Used", 100, 100));
   EXPECT_FALSE(smartLife("Perc_Rated_Life_Used", 3, 3));
   EXPECT_FALSE(smartLife("Percent_Lifetime_Remain", 200, 0));
}

TEST_F(HealthFiguresTest, LeavesSmartLifeUnknownBelowNothing) {
   SmartAttr attr;
   attr.reportedValue = -1;
   smart->lifetimeRemainingIs(OptionalSmartAttr::from(attr));
   EXPECT_FALSE(lifeLeft(*smart));
}

TEST_F(HealthFiguresTest, ReadsSmartLifeAsAMappingOfTheDriveMadeIt) {
   SmartAttr attr;
   attr.name = "Perc_Rated_Life_Used";
   attr.value = 3;
   attr.raw = 3;
   attr.reportedValue = 97;
   smart->lifetimeRemainingIs(OptionalSmartAttr::from(attr));
   EXPECT_EQ(lifeLeft(*smart), 97);
}

TEST_F(HealthFiguresTest, ReadsNvmeLifeAsTheUnusedPart) {
   nvme->percentageUsedIs({"percent_used", 7});
   EXPECT_EQ(lifeLeft(*nvme), 93);
   nvme->percentageUsedIs({"percent_used", 180});
   EXPECT_EQ(lifeLeft(*nvme), 0);
   nvme->percentageUsedIs({"percent_used", -5});
   EXPECT_EQ(lifeLeft(*nvme), 100);
}

TEST_F(HealthFiguresTest, ReadsEmmcLifeFromTheMoreWornMemory) {
   EXPECT_EQ(emmcLife(1, 8), 30);
   EXPECT_EQ(emmcLife(0x0A, 1), 10);
   EXPECT_EQ(emmcLife(0x0B, 1), 0);
   EXPECT_EQ(emmcLife(0, 2), 90);
   EXPECT_FALSE(emmcLife(0, 0));
   EXPECT_FALSE(emmcLife(0x0C, 0xFF));
}

TEST_F(HealthFiguresTest, CountsBytesWrittenToASmartDriveInTheUnitsOfItsName) {
   EXPECT_EQ(smartWritten("Total_LBAs_Written", 1000), 512000);
   EXPECT_EQ(smartWritten("Host_Writes_32MiB", 2), 67108864);
   EXPECT_FALSE(smartWritten("Vendor_Writes", 1000));
   EXPECT_FALSE(smartWritten("Total_LBAs_Written", -5));
}

TEST_F(HealthFiguresTest, CountsBytesWrittenToAnNvmeDriveInDataUnits) {
   nvme->dataUnitsWrittenIs({"data_units_written", 3});
   EXPECT_EQ(bytesWritten(*nvme), 1536000);
   nvme->dataUnitsWrittenIs({"data_units_written", INT64_MAX});
   EXPECT_GT(*bytesWritten(*nvme), 4e24);
   nvme->dataUnitsWrittenIs({"data_units_written", -1});
   EXPECT_FALSE(bytesWritten(*nvme));
}

TEST_F(HealthFiguresTest, CountsBytesWrittenSinceTheDiskAppearedFromTheLatest) {
   auto const history = Pelm::make<IOStat>();
   history->recordMeasurement(1, 5, 10);
   history->recordMeasurement(2, 6, 20);
   EXPECT_EQ(bytesWritten(*history), 20);
}

TEST_F(HealthFiguresTest, ReadsHoursFromTheBeginningOfTheRendering) {
   EXPECT_EQ(smartHours(12345, "12345"), 12345);
   EXPECT_EQ(smartHours(6339800903693, "12301h+34m+56.789s"), 12301);
   EXPECT_EQ(smartHours(7, ""), 7);
   EXPECT_FALSE(smartHours(6339800903693, ""));
   EXPECT_FALSE(smartHours(-1, ""));
   EXPECT_FALSE(smartHours(7, "876601"));
   nvme->powerOnHoursIs({"power_on_hours", 900});
   EXPECT_EQ(powerOnHours(*nvme), 900);
}

TEST_F(HealthFiguresTest, ReadsTemperaturesInDegreesCelsius) {
   smart->temperatureCelsiusIs(row("Temperature_Celsius", 37, 37));
   EXPECT_EQ(temperature(*smart), 37);
   nvme->temperatureCelsiusIs({"temperature", 41});
   EXPECT_EQ(temperature(*nvme), 41);
   for (int const impossible : {-273, 1000}) {
      nvme->temperatureCelsiusIs({"temperature", impossible});
      EXPECT_FALSE(temperature(*nvme)) << impossible;
   }
}

TEST_F(HealthFiguresTest, AcceptsACountOnlyWhereItsRenderingIsNothingElse) {
   auto const count = [](std::int64_t raw, char const * rendered, std::uint64_t largest) {
      return plainCount(*row("x", 1, raw, rendered), largest);
   };
   EXPECT_EQ(count(3, "3", 10), 3U);
   EXPECT_EQ(count(3, "", 10), 3U);
   EXPECT_FALSE(count(3, "3 (0 5)", 10));
   EXPECT_FALSE(count(8590065666, "2 2 2", UINT64_MAX));
   EXPECT_FALSE(count(51540393996, "51540393996", 0xffff));
   EXPECT_FALSE(count(10, "0", 100));
   EXPECT_FALSE(count(-1, "-1", UINT64_MAX));
}

}  // namespace
}  // namespace StorageDevices
