#include "tests/support/RealTimeLimit.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>

#include "runtime/host/Loop.h"
#include "tests/support/VirtualTimeTest.h"

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

TEST(RealTimeLimitTest, EndsWithItsScope) {
   {
      RealTimeLimit const limit;
      EXPECT_GE(RealTimeLimit::left().count(), 30);
   }
   EXPECT_EQ(RealTimeLimit::left().count(), 0);
}

class VirtualTimeLimitTest : public Support::VirtualTimeTest {};

TEST_F(VirtualTimeLimitTest, HasALimitInRealTime) {
   EXPECT_GE(RealTimeLimit::left().count(), 30);
   EXPECT_LE(RealTimeLimit::left().count(), 60);
}

}  // namespace
