#include "agent/logs/LogQueue.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Agent {
namespace {

class LogQueueTest : public testing::Test {
 protected:
   void add(std::string const & bytes) {
      queue.add({bytes, utc});
      utc += 1;
   }
   void addLines(std::size_t count) {
      for (std::size_t i = 0; i < count; ++i)
         add(std::to_string(i));
   }
   std::string take() {
      auto const line = queue.take();
      return line ? line->bytes : "none";
   }
   void takeLines(std::size_t count) {
      for (std::size_t i = 0; i < count; ++i)
         take();
   }

   Vorn::Seconds utc;
   LogQueue queue{[](std::uint64_t count, Vorn::Seconds latest) {
      return std::to_string(count) + " dropped until " + std::to_string(static_cast<int>(latest.value()));
   }};
};

TEST_F(LogQueueTest, KeepsLinesInOrder) {
   EXPECT_TRUE(queue.empty());
   add("a");
   add("b");
   EXPECT_FALSE(queue.empty());
   EXPECT_EQ(take(), "a");
   add("c");
   EXPECT_EQ(take(), "b");
   EXPECT_EQ(take(), "c");
   EXPECT_EQ(take(), "none");
   EXPECT_TRUE(queue.empty());
   EXPECT_EQ(queue.dropped(), 0U);
}

TEST_F(LogQueueTest, DropsAndCountsLinesBeyondItsNumber) {
   addLines(LogQueue::mostLines + 3);
   EXPECT_EQ(queue.size(), LogQueue::mostLines);
   EXPECT_EQ(queue.dropped(), 3U);
   EXPECT_EQ(take(), "0");
}

TEST_F(LogQueueTest, DropsAndCountsLinesBeyondItsBytes) {
   std::string const line(LogQueue::mostBytes / 4, 'x');
   for (int i = 0; i < 4; ++i)
      add(line);
   EXPECT_EQ(queue.dropped(), 0U);
   add("y");
   EXPECT_EQ(queue.dropped(), 1U);
   EXPECT_EQ(queue.size(), 4U);
}

TEST_F(LogQueueTest, ReportsDropsWhereTheDroppedLinesWouldHaveStood) {
   addLines(LogQueue::mostLines + 3);
   takeLines(LogQueue::mostLines / 2);
   add("after");
   takeLines(LogQueue::mostLines / 2);
   EXPECT_EQ(take(), "3 dropped until 1002");
   EXPECT_EQ(take(), "after");
   EXPECT_EQ(take(), "none");
   EXPECT_EQ(queue.dropped(), 3U);
}

TEST_F(LogQueueTest, DropsOnUntilHalfOfItIsEmpty) {
   addLines(LogQueue::mostLines + 1);
   takeLines(LogQueue::mostLines / 2 - 1);
   add("too early");
   EXPECT_EQ(queue.dropped(), 2U);
   takeLines(LogQueue::mostLines / 2);
   EXPECT_EQ(take(), "999");
   EXPECT_EQ(take(), "2 dropped until 1001");
}

TEST_F(LogQueueTest, DropsOnUntilHalfOfItsBytesAreFree) {
   std::string const line(LogQueue::mostBytes / 4, 'x');
   for (int i = 0; i < 5; ++i)
      add(line);
   take();
   add("too early");
   EXPECT_EQ(queue.dropped(), 2U);
   take();
   add("in time");
   EXPECT_EQ(queue.dropped(), 2U);
}

TEST_F(LogQueueTest, ReportsDropsWithoutAFurtherLine) {
   addLines(LogQueue::mostLines + 1);
   takeLines(LogQueue::mostLines);
   EXPECT_FALSE(queue.empty());
   EXPECT_EQ(take(), "1 dropped until 1000");
   EXPECT_EQ(take(), "none");
   EXPECT_TRUE(queue.empty());
}

TEST_F(LogQueueTest, ReportsALineThatWasLostAfterItWasTaken) {
   add("a");
   add("b");
   queue.drop(*queue.take());
   EXPECT_EQ(queue.dropped(), 1U);
   EXPECT_EQ(take(), "b");
   EXPECT_EQ(take(), "1 dropped until 0");
}

}  // namespace
}  // namespace Agent
