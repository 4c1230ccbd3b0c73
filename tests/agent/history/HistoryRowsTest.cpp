#include "agent/history/HistoryRows.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace Agent {
namespace {

constexpr Vorn::Seconds aDay = 86400;
constexpr Vorn::Seconds minute = 60;

HistoryRow rowAt(Vorn::Seconds time, float temperature = 40) {
   return {time, temperature};
}

// The times with the temperatures, "-" for none.
std::string textOf(HistoryRows const & rows) {
   std::string text;
   for (auto number = rows.first(); number < rows.end(); ++number) {
      HistoryRow const & row = *rows.row(number);
      text += std::to_string(std::lround(row.time.value())) + ":" +
              (std::isnan(row.temperature) ? "-" : std::to_string(std::lround(row.temperature))) + " ";
   }
   return text;
}

TEST(HistoryRowsTest, KeepsARowPerPoll) {
   HistoryRows rows{aDay};
   rows.add(rowAt(60, 40), minute);
   rows.add(rowAt(120, 41), minute);
   rows.add(rowAt(180.4, 42), minute);
   EXPECT_EQ(textOf(rows), "60:40 120:41 180:42 ");
}

TEST(HistoryRowsTest, LeavesOutAnEmptyRow) {
   HistoryRows rows{aDay};
   rows.add({60}, minute);
   EXPECT_TRUE(rows.empty());
}

TEST(HistoryRowsTest, ShowsAGapByOneEmptyRow) {
   HistoryRows rows{aDay};
   rows.add(rowAt(60), minute);
   rows.add({120}, minute);
   rows.add(rowAt(180), minute);
   rows.add(rowAt(240), minute);
   rows.add(rowAt(10000), minute);
   EXPECT_EQ(textOf(rows), "60:40 120:- 180:40 240:40 300:- 10000:40 ");
}

TEST(HistoryRowsTest, DropsRowsOlderThanTheSpan) {
   HistoryRows rows{600};
   for (int i = 1; i <= 30; ++i)
      rows.add(rowAt(i * 60), minute);
   EXPECT_EQ(rows.size(), 11U);
   EXPECT_EQ(rows.front().time, 1200);
   EXPECT_EQ(rows.first(), 19U);
   EXPECT_EQ(rows.row(18), nullptr);
   EXPECT_EQ(rows.row(19), &rows.front());
   EXPECT_EQ(rows.row(30), nullptr);
}

TEST(HistoryRowsTest, KeepsTheNumbersOfRowsWhereItIsFull) {
   HistoryRows rows{aDay * 365};
   for (int i = 0; i < 6000; ++i)
      rows.restore(rowAt(i));
   EXPECT_EQ(rows.first(), 1000U);
   EXPECT_EQ(rows.row(1000)->time, 1000);
   EXPECT_EQ(rows.end(), 6000U);
}

TEST(HistoryRowsTest, JoinsReadingsThatComeFasterThanItKeepsRows) {
   HistoryRows rows{aDay};
   for (int i = 0; i < 18; ++i)
      rows.add({100 + i, static_cast<float>(30 + (i * 7) % 18), static_cast<float>(90 - i),
                static_cast<float>(10 * i), 1},
               1);
   rows.add({118, 30, 50, 1000, 1000}, 1);
   ASSERT_EQ(rows.size(), 2U);
   EXPECT_EQ(rows.front().time, 100);
   EXPECT_FLOAT_EQ(rows.front().temperature, 47) << "the highest";
   EXPECT_FLOAT_EQ(rows.front().lifeLeft, 73) << "the lowest";
   EXPECT_FLOAT_EQ(rows.front().readBytesPerSecond, 85) << "the mean of 0, 10 to 170";
   EXPECT_FLOAT_EQ(rows.front().writtenBytesPerSecond, 1);
   EXPECT_EQ(rows.back().time, 118);
}

TEST(HistoryRowsTest, JoinsAFigureThatWasNotReadEachTime) {
   HistoryRows rows{aDay};
   rows.add({100, 40}, 1);
   rows.add({101, noReading, noReading, 10, 30}, 1);
   rows.add({102, 39, 90, noReading, noReading}, 1);
   rows.add({103, noReading, noReading, 20, 50}, 1);
   ASSERT_EQ(rows.size(), 1U);
   EXPECT_FLOAT_EQ(rows.front().temperature, 40);
   EXPECT_FLOAT_EQ(rows.front().lifeLeft, 90);
   EXPECT_FLOAT_EQ(rows.front().readBytesPerSecond, 15);
   EXPECT_FLOAT_EQ(rows.front().writtenBytesPerSecond, 40);
}

TEST(HistoryRowsTest, KeepsTheWholeSpanOfReadingsEachSecond) {
   HistoryRows rows{aDay};
   for (int i = 0; i < 200000; ++i)
      rows.add(rowAt(i), 1);
   EXPECT_LE(rows.size(), HistoryRows::mostRows);
   EXPECT_LE(rows.front().time, 199999 - 86400 + 20);
   EXPECT_GE(rows.front().time, 199999 - 86400);
}

TEST(HistoryRowsTest, KeepsTheWholeSpanOfReadingsThatFailEverySecondTime) {
   HistoryRows rows{aDay};
   for (int i = 0; i < 40000; i += 2)
      rows.add(rowAt(i * 10), 10);
   EXPECT_LE(rows.size(), HistoryRows::mostRows);
   EXPECT_LE(rows.front().time, 399980 - 86400 + 40);
}

TEST(HistoryRowsTest, JoinsNothingToARestoredRow) {
   HistoryRows rows{aDay};
   rows.restore(rowAt(100, 50));
   rows.add(rowAt(101, 60), 1);
   EXPECT_EQ(textOf(rows), "100:50 101:60 ");
}

TEST(HistoryRowsTest, ShowsAGapAfterRestoredRows) {
   HistoryRows rows{aDay};
   rows.restore(rowAt(-100, 50));
   rows.restore(rowAt(-40, 50));
   rows.add(rowAt(800, 60), minute);
   EXPECT_EQ(textOf(rows), "-100:50 -40:50 20:- 800:60 ");
}

TEST(HistoryRowsTest, FindsTheFirstRowSinceATime) {
   HistoryRows rows{600};
   EXPECT_EQ(rows.firstSince(0), 0U);
   for (int i = 1; i <= 30; ++i)
      rows.add(rowAt(i * 60), minute);
   EXPECT_EQ(rows.firstSince(0), 19U);
   EXPECT_EQ(rows.firstSince(1260), 20U);
   EXPECT_EQ(rows.firstSince(1261), 21U);
   EXPECT_EQ(rows.firstSince(1801), rows.end());
}

}  // namespace
}  // namespace Agent
