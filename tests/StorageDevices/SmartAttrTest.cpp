#include "runtime/model/SmartAttr.h"

#include <gtest/gtest.h>

#include <optional>

#include "SmartRecords.h"

namespace StorageDevices {
namespace {

bool passes(unsigned value, unsigned thresh) {
   SmartAttr attr;
   attr.value = static_cast<std::uint8_t>(value);
   attr.thresh = static_cast<std::uint8_t>(thresh);
   return attr.isPassing();
}

// None when the row gives no temperature that a drive can have.
std::optional<std::int64_t> temperature(char const * rawString, std::int64_t raw = 0) {
   SmartAttr const attr = SmartRecords::row(194, "Temperature_Celsius", raw, rawString);
   if (!isValidSATATemp(attr))
      return std::nullopt;
   return useRawStringTemperature(attr);
}

TEST(SmartAttrTest, PassesAboveItsThreshold) {
   EXPECT_TRUE(passes(11, 10));
   EXPECT_FALSE(passes(10, 10));
   EXPECT_FALSE(passes(9, 10));
   EXPECT_FALSE(passes(0, 1));
   EXPECT_FALSE(passes(255, 255));
   EXPECT_TRUE(passes(255, 254));
}

TEST(SmartAttrTest, PassesWithoutAThreshold) {
   EXPECT_TRUE(passes(0, 0));
   EXPECT_TRUE(passes(1, 0));
   EXPECT_TRUE(passes(255, 0));
}

TEST(SmartAttrTest, ReadsItsTemperatureFromTheStartOfTheRawText) {
   EXPECT_EQ(temperature("36"), 36);
   EXPECT_EQ(temperature("36 (Min/Max 20/45)", 200), 36);
   EXPECT_EQ(temperature("29 (0 21 0 0 0)", 0x1500001d), 29);
   EXPECT_EQ(temperature("-5 (Min/Max -9/30)", 251), -5);
   EXPECT_EQ(temperature("36.9"), 36);
   EXPECT_EQ(temperature("036"), 36);
   EXPECT_EQ(temperature("0", 40), 0);
   EXPECT_EQ(temperature("36C"), 36);
}

TEST(SmartAttrTest, ReadsItsTemperatureFromTheLowByteWithoutANumberInTheText) {
   EXPECT_EQ(temperature("", 36), 36);
   EXPECT_EQ(temperature("", 36 + (20LL << 16) + (45LL << 32)), 36);
   EXPECT_EQ(temperature("unknown", 0x7f00000000000024), 36);
   EXPECT_EQ(temperature("-", 36), 36);
   EXPECT_EQ(temperature("", -220), 36);
   EXPECT_EQ(temperature("", 255), std::nullopt);
}

TEST(SmartAttrTest, RefusesATemperatureThatNoDriveCanHave) {
   EXPECT_EQ(temperature("-40"), -40);
   EXPECT_EQ(temperature("-41"), std::nullopt);
   EXPECT_EQ(temperature("140"), 140);
   EXPECT_EQ(temperature("141"), std::nullopt);
   EXPECT_EQ(temperature("", 140), 140);
   EXPECT_EQ(temperature("", 141), std::nullopt);
   // Also of a number beyond any width: not the low byte that stands beside it.
   EXPECT_EQ(temperature("4294967332", 36), std::nullopt);
   EXPECT_EQ(temperature("99999999999999999999999", 36), std::nullopt);
   EXPECT_EQ(temperature("-99999999999999999999999", 36), std::nullopt);
}

TEST(OptionalSmartAttrTest, IsPresentOrNot) {
   OptionalSmartAttr const none;
   EXPECT_FALSE(none);
   auto const attr = OptionalSmartAttr::from(SmartRecords::row(9, "A", 5));
   ASSERT_TRUE(attr);
   EXPECT_EQ(attr->raw, 5);
   EXPECT_EQ((*attr).id, 9);
   EXPECT_NE(attr, none);
   // A row of nothing but zeros is a row.
   EXPECT_NE(OptionalSmartAttr::from({}), none);
   EXPECT_EQ(attr, OptionalSmartAttr::from(SmartRecords::row(9, "A", 5)));
   EXPECT_NE(attr, OptionalSmartAttr::from(SmartRecords::row(9, "A", 6)));
}

}  // namespace
}  // namespace StorageDevices
