#include "agent/service/LoopWatch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Agent {
namespace {

// A loop on a time of its own, looked at as often as the watch wants it.
class LoopWatchTest : public testing::Test {
 protected:
   void works(char const * operation = nullptr, std::string_view path = {}) {
      ++activity.turn;
      activity.busy = true;
      activity.since = now;
      in(operation, path);
   }
   void in(char const * operation, std::string_view path = {}) {
      activity.operation = operation;
      activity.pathText = {};
      path.copy(activity.pathText.data(), activity.pathText.size() - 1);
   }
   void waits() {
      activity.busy = false;
      in(nullptr);
   }

   void passes(double seconds) {
      double const until = now + seconds;
      while (nextLook <= until) {
         now = nextLook;
         if (auto const line = watch.look({activity, now, utc + activity.since}))
            lines.push_back((line->severity == 4 ? "warning: " : "info: ") + line->text);
         nextLook = now + watch.pause();
      }
      now = until;
   }
   // Nothing runs meanwhile, neither the loop nor who looks at it.
   void stoppedFor(double seconds) { nextLook = now += seconds; }

   std::string said() { return lines.empty() ? "nothing" : lines.back(); }

   static constexpr double utc = 1700000000;
   LoopWatch watch;
   Host::Activity activity;
   double now = 1000;
   double nextLook = 1000;
   std::vector<std::string> lines;
};

TEST_F(LoopWatchTest, AHeldLoopIsToldWithWhatHoldsItAndThatItGoesOn) {
   passes(3);
   works("fsync", "/mnt/drive");
   passes(4.5);
   EXPECT_EQ(said(), "nothing");
   passes(2.1);
   EXPECT_EQ(
       said(),
       "warning: the loop has been held for 6 s by fsync of /mnt/drive (nothing is polled and no status "
       "is served meanwhile; if it lasts, the disk behind it is failing)");
   passes(2.9);
   waits();
   passes(1);
   EXPECT_EQ(said(), "info: the loop goes on after 9 s; fsync of /mnt/drive held it");
   passes(100);
   EXPECT_EQ(lines.size(), 2U);
}

TEST_F(LoopWatchTest, WhatHoldsItMayHaveNoNameOrNoPath) {
   works();
   passes(7);
   EXPECT_EQ(
       said(),
       "warning: the loop has been held for 6 s by a handler (nothing is polled and no status is served "
       "meanwhile)");
   waits();
   passes(1);
   EXPECT_EQ(said(), "info: the loop goes on after 7 s; a handler held it");
   EXPECT_EQ(watch.holds().last->operation, "handler");
   works("sync");
   passes(7);
   EXPECT_NE(said().find(" by sync (nothing is polled and no status is served meanwhile)"), std::string::npos)
       << said();
}

TEST_F(LoopWatchTest, ItIsToldAgainWhenTheTimeHasDoubledAndThenEveryMinute) {
   works("fsync", "/mnt/drive");
   passes(230);
   std::vector<std::string> times;
   for (std::string const & line : lines)
      times.push_back(line.substr(0, line.find(" s by")).substr(line.find("for ") + 4));
   EXPECT_EQ(times, (std::vector<std::string>{"6", "12", "24", "48", "96", "156", "216"}));
}

TEST_F(LoopWatchTest, ALoopThatWaitsOrTurnsIsNotHeld) {
   waits();
   passes(3600);
   for (int i = 0; i < 1000; ++i) {
      works("fsync", "/mnt/drive");
      passes(4.9);
   }
   EXPECT_EQ(said(), "nothing");
   EXPECT_FALSE(watch.tooLong());
   EXPECT_EQ(watch.holds().count, 0U);
}

TEST_F(LoopWatchTest, AProcessThatWasStoppedInATurnIsNoHold) {
   works("fsync", "/mnt/drive");
   passes(0.5);
   stoppedFor(300);
   passes(0.2);
   waits();
   passes(60);
   EXPECT_EQ(said(), "nothing");
   EXPECT_EQ(watch.holds().count, 0U);
}

TEST_F(LoopWatchTest, AProcessThatIsStoppedAgainAndAgainIsNoHold) {
   works("fsync", "/mnt/drive");
   for (int i = 0; i < 10; ++i) {
      passes(0.5);
      stoppedFor(300);
   }
   EXPECT_EQ(said(), "nothing");
}

TEST_F(LoopWatchTest, AHoldThatBeginsRightAfterAStopIsTold) {
   passes(1);
   stoppedFor(300);
   works("close", "/mnt/flash");
   passes(8);
   EXPECT_NE(said().find(" by close of /mnt/flash ("), std::string::npos) << said();
}

TEST_F(LoopWatchTest, OfSeveralCallsInOneHoldTheLongestIsBlamedAfterwards) {
   works("open", "/mnt/drive");
   passes(1);
   in("fsync", "/mnt/drive");
   passes(20);
   in("close", "/mnt/drive");
   passes(4);
   EXPECT_NE(said().find("held for 24 s by close of /mnt/drive"), std::string::npos) << said();
   waits();
   passes(1);
   EXPECT_EQ(said(), "info: the loop goes on after 25 s; fsync of /mnt/drive held it");
}

TEST_F(LoopWatchTest, HoldsAreCountedFromTheMomentTheyAreTold) {
   works("fsync", "/mnt/drive");
   passes(10);
   EXPECT_EQ(watch.holds().count, 1U);
   EXPECT_NEAR(watch.holds().last->seconds, 10, 0.11);
   passes(10);
   works("statvfs", "/mnt/flash");
   passes(8);
   waits();
   passes(3600);
   Holds const & holds = watch.holds();
   EXPECT_EQ(holds.count, 2U);
   EXPECT_NEAR(holds.longestSeconds, 20, 0.11);
   EXPECT_NEAR(holds.last->seconds, 8, 0.11);
   EXPECT_EQ(holds.last->operation, "statvfs");
   EXPECT_EQ(holds.last->path, "/mnt/flash");
   EXPECT_EQ(holds.last->time, utc + 1020);
}

TEST_F(LoopWatchTest, TooLongIsKnownFromTheFirstLookOn) {
   works("fsync", "/mnt/drive");
   passes(4.9);
   EXPECT_FALSE(watch.tooLong());
   passes(0.2);
   EXPECT_TRUE(watch.tooLong());
   waits();
   passes(1);
   EXPECT_FALSE(watch.tooLong());
   EXPECT_EQ(said(), "nothing");
}

}  // namespace
}  // namespace Agent
