#include "StorageDevices/BlockStat.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>

namespace StorageDevices {
namespace {

TEST(BlockStatTest, ReadsTheThirdAndTheSeventhNumber) {
   EXPECT_EQ(readBlockStat("1 2 2000 4 5 6 4000"), (BlockStat{2000, 4000}));
   EXPECT_EQ(readBlockStat(
                 "    5161       38    80224     2107      260       51     3304       95        0     1311"),
             (BlockStat{80224, 3304}));
   EXPECT_EQ(readBlockStat("1\t2\t3\v4\f5\r6\n7"), (BlockStat{3, 7}));
   EXPECT_EQ(readBlockStat("0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0"), BlockStat());
}

TEST(BlockStatTest, RefusesFewerThanSevenNumbers) {
   std::string line;
   for (int count = 0; count < 7; ++count) {
      EXPECT_FALSE(readBlockStat(line)) << line;
      line += " " + std::to_string(count);
   }
   EXPECT_EQ(readBlockStat(line), (BlockStat{2, 6}));
   EXPECT_FALSE(readBlockStat("       "));
   EXPECT_FALSE(readBlockStat("no numbers"));
}

TEST(BlockStatTest, FindsTheSevenNumbersAnywhereInTheLine) {
   EXPECT_EQ(readBlockStat("sda: 1 2 3 4 5 6 7"), (BlockStat{3, 7}));
   EXPECT_EQ(readBlockStat("x1 2 3 4 5 6 7x"), (BlockStat{3, 7}));
   EXPECT_EQ(readBlockStat("9 9 9 - 1 2 3 4 5 6 7"), (BlockStat{3, 7}));
   EXPECT_EQ(readBlockStat("1 2 3 4 5 6 7 8 9 - 11 12 13 14 15 16 17"), (BlockStat{3, 7}));
}

TEST(BlockStatTest, AcceptsOnlyWhiteSpaceBetweenNumbers) {
   EXPECT_FALSE(readBlockStat("1 2 3 4, 5 6 7"));
   EXPECT_FALSE(readBlockStat("1 2 3 4 5 6 -7"));
   EXPECT_FALSE(readBlockStat("1 2 3.5 4 5 6 7"));
   EXPECT_FALSE(readBlockStat(std::string_view("1 2 3\0 4 5 6 7", 14)));
   EXPECT_FALSE(readBlockStat("1 2 3 4 5 6 x"));
   EXPECT_FALSE(readBlockStat("1 2 3 4 5\xa0 6 7"));
}

TEST(BlockStatTest, RefusesANumberBeyondSixtyFourBits) {
   EXPECT_EQ(readBlockStat("1 2 18446744073709551615 4 5 6 18446744073709551615"),
             (BlockStat{UINT64_MAX, UINT64_MAX}));
   EXPECT_FALSE(readBlockStat("1 2 18446744073709551616 4 5 6 7"));
   EXPECT_FALSE(readBlockStat("1 2 3 4 5 6 18446744073709551616"));
   // What is not stored may be as long as it likes.
   EXPECT_EQ(readBlockStat("99999999999999999999999 2 3 4 5 99999999999999999999999 7"), (BlockStat{3, 7}));
   EXPECT_EQ(readBlockStat("1 2 00000000000000000000000000003 4 5 6 7"), (BlockStat{3, 7}));
}

// Lines on which a backtracking search takes time that grows with a power of their length.
TEST(BlockStatTest, ReadsLongLinesInLinearTime) {
   constexpr std::size_t length = std::size_t{4} << 20U;
   std::string sixes;
   while (sixes.size() < length)
      sixes += "1 2 3 4 5 6 x";
   std::clock_t const start = std::clock();
   EXPECT_FALSE(readBlockStat(std::string(length, '7')));
   EXPECT_FALSE(readBlockStat(std::string(length, ' ')));
   EXPECT_FALSE(readBlockStat("1" + std::string(length, ' ')));
   EXPECT_FALSE(readBlockStat(sixes));
   EXPECT_EQ(readBlockStat(sixes + "1 2 3 4 5 6 7"), (BlockStat{3, 7}));
   EXPECT_LT(std::clock() - start, 10 * CLOCKS_PER_SEC);
}

}  // namespace
}  // namespace StorageDevices
