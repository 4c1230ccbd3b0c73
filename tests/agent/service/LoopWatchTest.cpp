#include "agent/service/LoopWatch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Agent {
namespace {

// A loop on a time of its own, sampled as often as the watch asks for it.
class LoopWatchTest : public testing::Test {
 protected:
   void beginTurn(char const * operation = nullptr, std::string_view path = {}) {
      ++activity.turn;
      activity.busy = true;
      activity.since = now;
      call(operation, path);
   }
   void call(char const * operation, std::string_view path = {}) {
      activity.operation = operation;
      activity.pathText = {};
      path.copy(activity.pathText.data(), activity.pathText.size() - 1);
   }
   void endTurn() {
      activity.busy = false;
      call(nullptr);
   }

   void runFor(Vorn::Seconds span) {
      Vorn::Seconds const until = now + span;
      while (nextSample <= until) {
         now = nextSample;
         if (auto const line = watch.add({activity, now, utc + activity.since}))
            lines.push_back((line->severity == 4 ? "warning: " : "info: ") + line->text);
         nextSample = now + watch.pause();
      }
      now = until;
   }
   // However often the watch asks for it.
   void sampleEvery(Vorn::Seconds span, int times) {
      for (int i = 0; i < times; ++i) {
         nextSample = now += span;
         runFor(0);
      }
   }
   // Neither the loop nor the watch runs meanwhile.
   void suspendFor(Vorn::Seconds span) { nextSample = now += span; }

   std::string lastLine() { return lines.empty() ? "nothing" : lines.back(); }

   static constexpr Vorn::Seconds utc = 1700000000;
   LoopWatch watch;
   Vorn::Host::Activity activity;
   Vorn::Seconds now = 1000;
   Vorn::Seconds nextSample = 1000;
   std::vector<std::string> lines;
};

TEST_F(LoopWatchTest, ReportsAStallWithItsCauseAndItsEnd) {
   runFor(3);
   beginTurn("fsync", "/mnt/drive");
   runFor(4.5);
   EXPECT_EQ(lastLine(), "nothing");
   runFor(2.1);
   EXPECT_EQ(
       lastLine(),
       "warning: the loop has been stalled for 6 s by fsync of /mnt/drive (nothing is polled and no status "
       "is served meanwhile; if it lasts, the disk behind it is failing)");
   runFor(2.9);
   endTurn();
   runFor(1);
   EXPECT_EQ(lastLine(), "info: the loop runs again after 9 s; fsync of /mnt/drive stalled it");
   runFor(100);
   EXPECT_EQ(lines.size(), 2U);
}

TEST_F(LoopWatchTest, ReportsACauseWithoutNameOrPath) {
   beginTurn();
   runFor(7);
   EXPECT_EQ(
       lastLine(),
       "warning: the loop has been stalled for 6 s by a handler (nothing is polled and no status is served "
       "meanwhile)");
   endTurn();
   runFor(1);
   EXPECT_EQ(lastLine(), "info: the loop runs again after 7 s; a handler stalled it");
   EXPECT_EQ(watch.stalls().last->operation, "handler");
   beginTurn("sync");
   runFor(7);
   EXPECT_NE(lastLine().find(" by sync (nothing is polled and no status is served meanwhile)"),
             std::string::npos)
       << lastLine();
}

TEST_F(LoopWatchTest, ReportsAgainWhenTheTimeHasDoubledAndThenEveryMinute) {
   beginTurn("fsync", "/mnt/drive");
   runFor(230);
   std::vector<std::string> times;
   for (std::string const & line : lines)
      times.push_back(line.substr(0, line.find(" s by")).substr(line.find("for ") + 4));
   EXPECT_EQ(times, (std::vector<std::string>{"6", "12", "24", "48", "96", "156", "216"}));
}

TEST_F(LoopWatchTest, ReportsNothingOfALoopThatWaitsOrTurns) {
   endTurn();
   runFor(3600);
   for (int i = 0; i < 1000; ++i) {
      beginTurn("fsync", "/mnt/drive");
      runFor(4.9);
   }
   EXPECT_EQ(lastLine(), "nothing");
   EXPECT_FALSE(watch.isOverdue());
   EXPECT_EQ(watch.stalls().count, 0U);
}

TEST_F(LoopWatchTest, ReportsNothingOfAProcessSuspendedInATurn) {
   beginTurn("fsync", "/mnt/drive");
   runFor(0.5);
   suspendFor(300);
   runFor(0.2);
   endTurn();
   runFor(60);
   EXPECT_EQ(lastLine(), "nothing");
   EXPECT_EQ(watch.stalls().count, 0U);
}

TEST_F(LoopWatchTest, ReportsNothingOfAProcessSuspendedAgainAndAgain) {
   beginTurn("fsync", "/mnt/drive");
   for (int i = 0; i < 10; ++i) {
      runFor(0.5);
      suspendFor(300);
   }
   EXPECT_EQ(lastLine(), "nothing");
}

TEST_F(LoopWatchTest, SamplesAnIdleLoopRarelyAndATurnOnceASecond) {
   runFor(0);
   EXPECT_EQ(watch.pause(), 2.5);
   beginTurn("fsync", "/mnt/drive");
   runFor(2.5);
   EXPECT_EQ(watch.pause(), 1);
   runFor(4.6);
   EXPECT_EQ(watch.stalls().count, 1U) << "within two seconds after it became one, wherever the turn began";
   EXPECT_EQ(watch.pause(), 0.1);
}

TEST_F(LoopWatchTest, ReportsAStallInSamplesThatComeLessThanAPauseLate) {
   runFor(1);
   beginTurn("fsync", "/mnt/drive");
   sampleEvery(1.9, 4);
   EXPECT_EQ(watch.stalls().count, 1U);
}

TEST_F(LoopWatchTest, ReportsNothingInSamplesThatComeMoreThanAPauseLate) {
   beginTurn("fsync", "/mnt/drive");
   sampleEvery(2.1, 20);
   EXPECT_EQ(lastLine(), "nothing");
   EXPECT_TRUE(watch.isOverdue());
}

TEST_F(LoopWatchTest, ReportsAStallThatBeginsRightAfterASuspension) {
   runFor(1);
   suspendFor(300);
   beginTurn("close", "/mnt/flash");
   runFor(8);
   EXPECT_NE(lastLine().find(" by close of /mnt/flash ("), std::string::npos) << lastLine();
}

TEST_F(LoopWatchTest, NamesTheLongestOfSeveralCallsAfterTheStall) {
   beginTurn("open", "/mnt/drive");
   runFor(1);
   call("fsync", "/mnt/drive");
   runFor(20);
   call("close", "/mnt/drive");
   runFor(4);
   EXPECT_NE(lastLine().find("stalled for 24 s by close of /mnt/drive"), std::string::npos) << lastLine();
   endTurn();
   runFor(1);
   EXPECT_EQ(lastLine(), "info: the loop runs again after 25 s; fsync of /mnt/drive stalled it");
}

TEST_F(LoopWatchTest, CountsAStallFromItsReportOn) {
   beginTurn("fsync", "/mnt/drive");
   runFor(10);
   EXPECT_EQ(watch.stalls().count, 1U);
   EXPECT_NEAR(watch.stalls().last->duration.value(), 10, 0.11);
   runFor(10);
   beginTurn("statvfs", "/mnt/flash");
   runFor(8);
   endTurn();
   runFor(3600);
   Stalls const & stalls = watch.stalls();
   EXPECT_EQ(stalls.count, 2U);
   EXPECT_NEAR(stalls.longest.value(), 20, 0.11);
   EXPECT_NEAR(stalls.last->duration.value(), 8, 0.11);
   EXPECT_EQ(stalls.last->operation, "statvfs");
   EXPECT_EQ(stalls.last->path, "/mnt/flash");
   EXPECT_EQ(stalls.last->utc, utc + 1020);
}

TEST_F(LoopWatchTest, IsOverdueFromTheFirstSampleOn) {
   beginTurn("fsync", "/mnt/drive");
   runFor(4.9);
   EXPECT_FALSE(watch.isOverdue());
   runFor(0.2);
   EXPECT_TRUE(watch.isOverdue());
   endTurn();
   runFor(1);
   EXPECT_FALSE(watch.isOverdue());
   EXPECT_EQ(lastLine(), "nothing");
}

}  // namespace
}  // namespace Agent
