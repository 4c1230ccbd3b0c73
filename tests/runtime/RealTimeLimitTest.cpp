#include "tests/support/RealTimeLimit.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>

#include "runtime/host/Loop.h"

namespace {

using std::chrono::milliseconds;
using Support::RealTimeLimit;

void turnForEver() {
   RealTimeLimit const limit{milliseconds{1}};
   std::atomic<bool> over{false};
   auto const holdTheTurn = [&] {
      while (!over) {
      }
      return true;
   };
   Vorn::Host::runUntil(holdTheTurn, 1);
}

TEST(RealTimeLimitTest, NamesTheTestWhoseTurnNeverEnds) {
   EXPECT_EXIT(turnForEver(), testing::KilledBySignal(SIGABRT),
               "RealTimeLimitTest.NamesTheTestWhoseTurnNeverEnds: not over after 1 ms");
}

TEST(RealTimeLimitTest, HoldsForEveryTest) {
   EXPECT_GE(RealTimeLimit::left().count(), 30);
   EXPECT_LE(RealTimeLimit::left().count(), 60);
}

TEST(RealTimeLimitTest, GivesWayToATestsOwnLimit) {
   {
      RealTimeLimit const limit{std::chrono::minutes{10}};
      EXPECT_GE(RealTimeLimit::left().count(), 500);
   }
   EXPECT_GE(RealTimeLimit::left().count(), 30);
   EXPECT_LE(RealTimeLimit::left().count(), 60);
}

class SlowSetUpTest : public testing::Test {
 protected:
   static void SetUpTestSuite() { left = RealTimeLimit::left(); }
   static inline std::chrono::seconds left{};
};

TEST_F(SlowSetUpTest, IsLimitedToo) {
   EXPECT_GE(left.count(), 30);
   EXPECT_LE(left.count(), 60);
}

}  // namespace
