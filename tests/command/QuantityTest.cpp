#include "command/Quantity.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Command {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(QuantityTest, WritesASpanInTheLargestUnitThatItFills) {
   EXPECT_EQ(spanText(0), "0 s");
   EXPECT_EQ(spanText(0.9), "0 s");
   EXPECT_EQ(spanText(59.9), "59 s");
   EXPECT_EQ(spanText(60), "1 min");
   EXPECT_EQ(spanText(3599), "59 min");
   EXPECT_EQ(spanText(3600), "1 h");
   EXPECT_EQ(spanText(47.9 * 3600), "47 h");
   EXPECT_EQ(spanText(48.0 * 3600), "2 d");
   EXPECT_EQ(spanText(400.5 * 86400), "400 d");
}

TEST(QuantityTest, WritesNothingForAnImpossibleSpan) {
   EXPECT_EQ(spanText(-5), "0 s");
   EXPECT_EQ(spanText(std::nan("")), "0 s");
   EXPECT_EQ(spanText(infinity), "");
}

TEST(QuantityTest, WritesBytesWithTwoOrThreeDigits) {
   EXPECT_EQ(bytesText(0), "0 B");
   EXPECT_EQ(bytesText(512), "512 B");
   EXPECT_EQ(bytesText(1000), "1.0 kB");
   EXPECT_EQ(bytesText(3.24e9), "3.2 GB");
   EXPECT_EQ(bytesText(9.96e9), "10 GB");
   EXPECT_EQ(bytesText(81.9e12), "82 TB");
   EXPECT_EQ(bytesText(999.4e12), "999 TB");
   EXPECT_EQ(bytesText(999.6e12), "1.0 PB");
   EXPECT_EQ(bytesText(9.2e18 * 512), "4.7 ZB");
}

TEST(QuantityTest, WritesNothingForANumberThatIsNoAmountOfBytes) {
   EXPECT_EQ(bytesText(-1), "");
   EXPECT_EQ(bytesText(std::nan("")), "");
   EXPECT_EQ(bytesText(infinity), "");
   EXPECT_EQ(bytesText(1e300), "");
}

}  // namespace
}  // namespace Command
