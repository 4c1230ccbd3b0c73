#include "agent/history/DiskHistory.h"

#include <gtest/gtest.h>

#include <vector>

namespace Agent {
namespace {

constexpr double hour = 3600;
// A reading a minute for that many minutes.
DiskHistory historyOf(Vorn::Seconds span, int minutes) {
   DiskHistory history{span};
   for (int i = 0; i < minutes; ++i)
      history.add({i * 60, static_cast<float>(i % 50)}, 60);
   return history;
}

std::vector<double> timesSince(DiskHistory const & history, Vorn::Seconds time) {
   auto const range = history.since(time);
   std::vector<double> times;
   for (std::uint64_t i = 0; i < range.size(); ++i)
      times.push_back(history.row(range, i)->time.value());
   return times;
}

bool increases(std::vector<double> const & times) {
   for (std::size_t i = 1; i < times.size(); ++i)
      if (times[i] <= times[i - 1])
         return false;
   return !times.empty();
}

TEST(DiskHistoryTest, KeepsADayInOneResolution) {
   DiskHistory const history = historyOf(24 * hour, 2000);
   EXPECT_FALSE(history.coarse());
   EXPECT_EQ(history.latest(), 1999 * 60);
   auto const times = timesSince(history, 0);
   EXPECT_EQ(times.size(), 1441U);
   EXPECT_TRUE(increases(times));
   EXPECT_EQ(timesSince(history, 1990 * 60).size(), 10U);
}

TEST(DiskHistoryTest, KeepsTheLatestDayOfAYearAsItWasRead) {
   DiskHistory const history = historyOf(8760 * hour, 600000);
   Vorn::Seconds const now = 599999 * 60;
   auto const lastHour = timesSince(history, now - hour);
   EXPECT_EQ(lastHour.size(), 61U);
   auto const all = timesSince(history, 0);
   EXPECT_TRUE(increases(all));
   EXPECT_LE(all.size(), 2 * HistoryRows::mostRows);
   EXPECT_GE(all.front(), (now - 8760 * hour).value());
   EXPECT_LE(all.front(), (now - 8758 * hour).value());
   EXPECT_EQ(all.back(), now);
}

TEST(DiskHistoryTest, KnowsADroppedRowNoMore) {
   DiskHistory history = historyOf(48 * hour, 2880);
   auto const range = history.since(0);
   EXPECT_NE(history.row(range, 0), nullptr);
   for (int i = 2880; i < 4000; ++i)
      history.add({i * 60, 40}, 60);
   EXPECT_EQ(history.row(range, 0), nullptr);
   EXPECT_EQ(history.row(range, range.size() - 1)->time, 2879 * 60);
}

TEST(DiskHistoryTest, IsEmptyAtFirst) {
   DiskHistory const history{48 * hour};
   EXPECT_EQ(history.since(0).size(), 0U);
   EXPECT_FALSE(history.latest());
}

}  // namespace
}  // namespace Agent
