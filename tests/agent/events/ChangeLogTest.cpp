#include "agent/events/ChangeLog.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace Agent {
namespace {

using Rows = std::vector<std::pair<std::uint64_t, std::string>>;

Rows rowsAfter(ChangeLog const & log, std::uint64_t number) {
   Rows rows;
   for (auto change = log.after(number); change != log.end(); ++change)
      rows.emplace_back(change->first, change->second.str());
   return rows;
}

ChangeLog logOf(std::vector<char const *> const & serials) {
   ChangeLog log;
   for (char const * const serial : serials)
      log.add(serial);
   return log;
}

TEST(ChangeLogTest, NumbersChangesFromOne) {
   ChangeLog log;
   EXPECT_EQ(log.last(), 0U);
   log.add("A");
   log.add("B");
   EXPECT_EQ(log.last(), 2U);
   EXPECT_EQ(rowsAfter(log, 0), (Rows{{1, "A"}, {2, "B"}}));
   EXPECT_EQ(rowsAfter(log, 1), (Rows{{2, "B"}}));
   EXPECT_EQ(rowsAfter(log, 2), Rows{});
}

TEST(ChangeLogTest, ShowsADiskAtItsLatestChangeAlone) {
   EXPECT_EQ(rowsAfter(logOf({"A", "B", "A", "A"}), 0), (Rows{{2, "B"}, {4, "A"}}));
}

TEST(ChangeLogTest, ForgetsEarlierChangesAndCountsOn) {
   ChangeLog log = logOf({"A", "B", "C"});
   log.forget(2);
   EXPECT_EQ(rowsAfter(log, 0), (Rows{{3, "C"}}));
   log.add("A");
   EXPECT_EQ(rowsAfter(log, 0), (Rows{{3, "C"}, {4, "A"}}));
   log.forget(9);
   EXPECT_EQ(rowsAfter(log, 0), Rows{});
   EXPECT_EQ(log.last(), 4U);
}

}  // namespace
}  // namespace Agent
