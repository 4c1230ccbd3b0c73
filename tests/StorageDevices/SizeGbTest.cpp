#include "StorageDevices/SizeGb.h"

#include <gtest/gtest.h>

namespace StorageDevices {
namespace {

TEST(SizeGbTest, RoundsHalvesUp) {
   EXPECT_EQ(gigabytes(0), 0U);
   EXPECT_EQ(gigabytes(499'999'999), 0U);
   EXPECT_EQ(gigabytes(500'000'000), 1U);
   EXPECT_EQ(gigabytes(999'999'999), 1U);
   EXPECT_EQ(gigabytes(1'499'999'999), 1U);
   EXPECT_EQ(gigabytes(1'500'000'000), 2U);
   EXPECT_EQ(gigabytes(480'103'981'056), 480U);
   EXPECT_EQ(gigabytes(500'107'862'016), 500U);
}

TEST(SizeGbTest, RefusesASizeAboveThirtyTwoBits) {
   EXPECT_EQ(gigabytes(4'294'967'295'499'999'999U), 4'294'967'295U);
   EXPECT_EQ(gigabytes(4'294'967'295'500'000'000U), std::nullopt);
   EXPECT_EQ(gigabytes(UINT64_MAX), std::nullopt);
}

TEST(SizeGbTest, CountsSectorsInBlocksOf512Bytes) {
   EXPECT_EQ(sizeGbFromSectors("3907029168"), 2000U);
   EXPECT_EQ(sizeGbFromSectors("3907029168\n"), 2000U);
   EXPECT_EQ(sizeGbFromSectors("0003907029168"), 2000U);
   EXPECT_EQ(sizeGbFromSectors("976562"), 0U);
   EXPECT_EQ(sizeGbFromSectors("976563"), 1U);
   EXPECT_EQ(sizeGbFromSectors("0"), 0U);
}

TEST(SizeGbTest, ReadsATextThatIsNoNumberAsZero) {
   for (auto const * text : {"", "\n", " ", "x", "-3907029168", "+3907029168", " 3907029168", "3907029168 ",
                             "3907029168\n\n", "3907029168 sectors", "0x10000000", "1e10", "39070.29168"})
      EXPECT_EQ(sizeGbFromSectors(text), 0U) << text;
   EXPECT_EQ(sizeGbFromSectors(std::string_view()), 0U);
   EXPECT_EQ(sizeGbFromSectors(std::string_view("3907029168\0", 11)), 0U);
}

TEST(SizeGbTest, ReadsAnOverflowAsZero) {
   EXPECT_EQ(sizeGbFromSectors("18446744073709551616"), 0U);
   EXPECT_EQ(sizeGbFromSectors("99999999999999999999999999"), 0U);
   EXPECT_EQ(sizeGbFromSectors("36028797018963968"), 0U);
   EXPECT_EQ(sizeGbFromSectors("36028797018963967"), 0U);
   EXPECT_EQ(sizeGbFromSectors("8388607999023437"), 4'294'967'295U);
   EXPECT_EQ(sizeGbFromSectors("8388607999023438"), 0U);
}

}  // namespace
}  // namespace StorageDevices
