// What a history takes of the system's allocator.
#include "agent/history/DiskHistory.h"

#include <gtest/gtest.h>

#include <malloc.h>

#include <cstddef>

#ifndef STORAGEDEVICES_SANITIZED  // sanitizers have an allocator of their own

namespace Agent {
namespace {

constexpr double hour = 3600;

std::size_t bytesInUse() {
   auto const info = mallinfo2();
   return info.uordblks + info.hblkhd;
}

// Readings at an interval until that time.
void read(DiskHistory & history, int from, int to, int interval) {
   for (int time = from; time < to; time += interval)
      history.add({time, 40, 90, 1000, 1000}, interval);
}

TEST(HistoryMemoryTest, TakesTwentyFourBytesForAReading) {
   EXPECT_EQ(sizeof(HistoryRow), 24U);
   std::size_t const before = bytesInUse();
   DiskHistory history{24 * hour};
   read(history, 0, 86400, 60);
   EXPECT_GT(bytesInUse() - before, 34000U);
   EXPECT_LE(bytesInUse() - before, 37000U);
}

TEST(HistoryMemoryTest, NeverTakesMoreThanItsBound) {
   std::size_t const before = bytesInUse();
   DiskHistory history{8760 * hour};
   read(history, 0, 32000000, 100);
   read(history, 32000000, 32200000, 1);
   EXPECT_GT(bytesInUse() - before, 200000U);
   EXPECT_LE(bytesInUse() - before + sizeof(DiskHistory), std::size_t{256} << 10U);
}

TEST(HistoryMemoryTest, TakesNoMoreForFurtherReadings) {
   DiskHistory history{24 * hour};
   read(history, 0, 90000, 60);
   std::size_t const before = bytesInUse();
   read(history, 90000, 400000, 60);
   EXPECT_EQ(bytesInUse(), before);
}

}  // namespace
}  // namespace Agent

#endif
