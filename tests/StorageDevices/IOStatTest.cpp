#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <deque>
#include <random>

#include "runtime/model/IOStatData.h"
#include "tests/support/MemoryLimit.h"
#include "tests/support/RandomSeed.h"
#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {
namespace {

using Measurement = IOStat::Measurement;

class IOStatTest : public Support::VirtualTimeTest {
 protected:
   static Vorn::Seconds now() { return Vorn::System::currentTime(); }
   void recordNow(std::uint64_t bytesWritten) { stat->recordMeasurement(now(), 0, bytesWritten); }
   std::vector<std::uint64_t> written() const {
      std::vector<std::uint64_t> result;
      for (std::size_t i = 0; i < stat->size(); ++i)
         result.push_back((*stat)[i].bytesWritten);
      return result;
   }

   Pelm::Ptr<IOStat> const stat = Pelm::make<IOStat>();
};

TEST_F(IOStatTest, IsEmptyAtFirst) {
   EXPECT_TRUE(stat->empty());
   EXPECT_EQ(stat->size(), 0U);
   EXPECT_FALSE(stat->topMeasurement());
   stat->pruneMeasurements(0);
   EXPECT_TRUE(stat->empty());
}

TEST_F(IOStatTest, KeepsMeasurementsInTheirOrder) {
   stat->recordMeasurement(1000, 1024000, 2048000);
   EXPECT_EQ(stat->topMeasurement(), (Measurement{1000, 1024000, 2048000}));
   stat->recordMeasurement(1060, UINT64_MAX, 3);
   EXPECT_EQ(stat->topMeasurement(), (Measurement{1060, UINT64_MAX, 3}));
   ASSERT_EQ(stat->size(), 2U);
   EXPECT_EQ((*stat)[0], (Measurement{1000, 1024000, 2048000}));
   EXPECT_EQ((*stat)[1], (Measurement{1060, UINT64_MAX, 3}));
}

TEST_F(IOStatTest, DropsMeasurementsOlderThanTheAge) {
   for (std::uint64_t i = 0; i < 5; ++i) {
      recordNow(i);
      time->jumpBy(60);
   }
   // The newest is a minute old, the oldest five.
   stat->pruneMeasurements(300);
   EXPECT_EQ(written(), (std::vector<std::uint64_t>{0, 1, 2, 3, 4}));
   stat->pruneMeasurements(299);
   EXPECT_EQ(written(), (std::vector<std::uint64_t>{1, 2, 3, 4}));
   stat->pruneMeasurements(120);
   EXPECT_EQ(written(), (std::vector<std::uint64_t>{3, 4}));
   EXPECT_EQ(stat->topMeasurement()->bytesWritten, 4U);
   stat->pruneMeasurements(0);
   EXPECT_TRUE(stat->empty());
   EXPECT_FALSE(stat->topMeasurement());
}

TEST_F(IOStatTest, RecordsAgainAfterAllWasDropped) {
   for (std::uint64_t round = 0; round < 200; ++round) {
      recordNow(round);
      ASSERT_EQ(written(), std::vector<std::uint64_t>{round});
      time->jumpBy(10);
      stat->pruneMeasurements(5);
      ASSERT_TRUE(stat->empty());
   }
}

TEST_F(IOStatTest, KeepsADayAndAPollOfALongHistory) {
   constexpr double interval = 300;
   for (std::uint64_t poll = 0; poll < 1000; ++poll) {
      recordNow(poll);
      stat->pruneMeasurements(86400 + interval);
      ASSERT_LE((now() - (*stat)[0].time).value(), 86400 + interval);
      time->jumpBy(interval);
   }
   EXPECT_EQ(stat->size(), 86400 / 300 + 2U);
   EXPECT_EQ((*stat)[0].bytesWritten, 1000 - stat->size());
   EXPECT_EQ(stat->topMeasurement()->bytesWritten, 999U);
}

// Against a plain list, over recordings and prunings in any order.
TEST_F(IOStatTest, KeepsTheSameMeasurementsAsAPlainList) {
   std::mt19937 random(Support::randomSeed(20240616));
   std::deque<Measurement> expected;
   std::size_t most = 0;
   for (int step = 0; step < 20'000; ++step) {
      if (random() % 4 != 0) {
         Measurement const taken{now(), random(), random()};
         stat->recordMeasurement(taken.time, taken.bytesRead, taken.bytesWritten);
         expected.push_back(taken);
      } else {
         auto const age = static_cast<double>(random() % (random() % 50 == 0 ? 100 : 2000));
         stat->pruneMeasurements(age);
         while (!expected.empty() && (now() - expected.front().time).value() > age)
            expected.pop_front();
      }
      time->jumpBy(static_cast<double>(random() % 3));
      ASSERT_EQ(stat->size(), expected.size());
      most = std::max(most, expected.size());
      if (expected.empty())
         continue;
      auto const index = random() % expected.size();
      ASSERT_EQ((*stat)[0], expected[0]);
      ASSERT_EQ((*stat)[index], expected[index]);
      ASSERT_EQ(stat->topMeasurement(), expected.back());
   }
   EXPECT_GT(most, 200U);
}

#ifndef STORAGEDEVICES_SANITIZED  // sanitizers need more address space than any of these limits

// The allocator takes a mebibyte at a time where the heap cannot grow. Below it is the table of chunks.
constexpr std::size_t historyReserve = std::size_t{4} << 20U;
constexpr std::size_t allocatorStep = std::size_t{1} << 20U;
constexpr std::size_t tableOfChunks = std::size_t{64} << 10U;

bool canMap(std::size_t bytes) {
   return mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) != MAP_FAILED;
}

// Records until the history no longer grows, and as much again. Whether it ends with the newest, without a
// gap, and has left memory.
bool keepsTheNewestAndLeavesMemory(IOStat & history) {
   std::uint64_t written = 0;
   std::uint64_t full = 0;
   for (; full == 0 || written < 2 * full; ++written) {
      std::size_t const before = history.size();
      history.recordMeasurement(static_cast<double>(written), 0, written);
      if (full == 0 && history.size() < before)
         full = written;
   }
   bool good = history.size() + 100 > full && full > 100000;
   for (std::size_t i = 0; i < history.size(); ++i)
      good = good && history[i].bytesWritten == written - history.size() + i;
   return good && canMap(historyReserve - allocatorStep - tableOfChunks);
}

// As where a mapping stands right behind the heap.
bool stopTheHeap() {
   constexpr std::size_t page = 4096;
   std::size_t const end = (reinterpret_cast<std::size_t>(sbrk(0)) + page - 1) / page * page;
   auto * const next = reinterpret_cast<void *>(end);  // NOLINT(performance-no-int-to-ptr)
   return mmap(next, page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0) == next ||
          errno == EEXIST;
}

TEST_F(IOStatTest, DropsTheOldestBeforeItUsesTheLastMemory) {
   EXPECT_TRUE(Support::survives(std::size_t{8} << 20U,
                                 [this] { _exit(keepsTheNewestAndLeavesMemory(*stat) ? 0 : 1); }));
}

TEST_F(IOStatTest, LeavesMemoryWhereTheHeapCannotGrow) {
   EXPECT_TRUE(Support::survives(std::size_t{8} << 20U, [this] {
      _exit(stopTheHeap() && keepsTheNewestAndLeavesMemory(*stat) ? 0 : 1);
   }));
}

#endif

TEST(IOStatDataTest, KeepsHistoriesUntilTheyAreDeleted) {
   auto const all = Pelm::make<IOStatData>();
   all->ioStatDataIs("SN1");
   auto const first = all->ioStatData("SN1");
   ASSERT_TRUE(first);
   first->recordMeasurement(1, 2, 3);
   all->ioStatDataIs("SN1");
   EXPECT_EQ(all->ioStatData("SN1"), first);
   all->ioStatDataDel("SN1");
   EXPECT_FALSE(all->ioStatData("SN1"));
   all->ioStatDataIs("SN1");
   EXPECT_TRUE(all->ioStatData("SN1")->empty());
   all->ioStatDataIs("SN2");
   all->ioStatDataDelAll();
   EXPECT_TRUE(all->ioStatData.empty());
}

}  // namespace
}  // namespace StorageDevices
