#include "runtime/host/Activity.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/BlockingCall.h"
#include "runtime/Vorn/Breadcrumb.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/FileDescriptor.h"
#include "runtime/Vorn/Notifiee.h"
#include "runtime/host/Loop.h"
#include "runtime/host/TimeSource.h"

namespace {

using Vorn::BlockingCall;

std::string shown() {
   Vorn::Host::Activity const seen = Vorn::Host::activity();
   return seen.operation ? std::string{seen.operation}.append(" of ").append(seen.path()) : "none";
}

class ActivityTest : public testing::Test {
 protected:
   ActivityTest() { Vorn::Host::turn(0); }
};

TEST_F(ActivityTest, ShowsTheInnermostCallAndAtItsEndTheOneAroundIt) {
   EXPECT_EQ(shown(), "none");
   {
      BlockingCall const outer{"open", "/mnt/drive"};
      EXPECT_EQ(shown(), "open of /mnt/drive");
      {
         BlockingCall const inner{"stat", "/a/longer/path/than/the/other"};
         EXPECT_EQ(shown(), "stat of /a/longer/path/than/the/other");
      }
      EXPECT_EQ(shown(), "open of /mnt/drive");
   }
   EXPECT_EQ(shown(), "none");
}

TEST_F(ActivityTest, ShowsTheLastCallThatFitsBeyondTheDepth) {
   std::vector<std::unique_ptr<BlockingCall>> calls;
   for (char const * const path : {"1", "2", "3", "4", "5", "6"})
      calls.push_back(std::make_unique<BlockingCall>("open", path));
   EXPECT_EQ(shown(), "open of 4");
   while (calls.size() > 3)
      calls.pop_back();
   EXPECT_EQ(shown(), "open of 3");
   calls.clear();
   EXPECT_EQ(shown(), "none");
}

TEST_F(ActivityTest, CutsAPathAtItsBoundAndAtANul) {
   for (std::size_t const size : {0, 1, 7, 8, 9, 254, 255, 256, 257, 5000}) {
      std::string const path(size, 'x');
      BlockingCall const call{"open", path};
      EXPECT_EQ(Vorn::Host::activity().path(), path.substr(0, 255)) << size;
   }
   BlockingCall const call{"open", std::string_view{"/mnt\0/drive", 11}};
   EXPECT_EQ(shown(), "open of /mnt");
   BlockingCall const none{"sync", std::string_view{}};
   EXPECT_EQ(shown(), "sync of ");
}

TEST_F(ActivityTest, KeepsErrno) {
   errno = EDOM;
   { BlockingCall const call{"open", "/mnt/drive"}; }
   EXPECT_EQ(errno, EDOM);
}

TEST_F(ActivityTest, IgnoresACallOnAnotherThread) {
   BlockingCall const own{"open", "/mnt/drive"};
   std::thread{[] {
      BlockingCall const other{"stat", "/elsewhere"};
      EXPECT_EQ(shown(), "open of /mnt/drive");
   }}.join();
   EXPECT_EQ(shown(), "open of /mnt/drive");
}

// Asks in a handler what the loop does.
class Asking {
 public:
   Vorn::Host::Activity seen;

 private:
   void ring() { seen = Vorn::Host::activity(); }
   Vorn::Clock::Notifiee<&Asking::ring> clock_{*this};
};

TEST_F(ActivityTest, StartsEveryTurnAtItsOwnTime) {
   Vorn::Seconds const before = Vorn::Host::monotonicSeconds();
   std::uint64_t const turn = Vorn::Host::activity().turn;
   Asking asking;
   Vorn::Host::turn(0);
   constexpr double coarseClock = 0.02;
   EXPECT_TRUE(asking.seen.busy);
   EXPECT_GT(asking.seen.turn, turn);
   EXPECT_GE(asking.seen.since, before - coarseClock);
   EXPECT_LE(asking.seen.since, Vorn::Host::monotonicSeconds());
}

TEST_F(ActivityTest, KeepsTheBeginOfATurnUnderScaledFrameworkTime) {
   Vorn::Host::timeSourceIs(std::make_unique<Vorn::Host::RealTime>(1e6));
   Vorn::Host::turn(0);
   EXPECT_LE(Vorn::Host::activity().since, Vorn::Host::monotonicSeconds());
   Vorn::Host::timeSourceIs(nullptr);
}

// A loop that waits on another thread, until it is woken.
class Waiting {
 public:
   Waiting() {
      event->descriptorIs(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
      reactor_.notifierIs(event);
      reactor_.on<&Waiting::handleEvent>(event->readableCount, *this);
      reactor_.hasNotificationActiveIs(true);
      event->notifyOnReadableIs(true);
   }
   ~Waiting() {
      int const fd = event->descriptor();
      event->descriptorIs(-1);
      close(fd);
   }
   void wake() const { eventfd_write(event->descriptor(), 1); }

   Pelm::Ptr<Vorn::FileDescriptor> event = Pelm::make<Vorn::FileDescriptor>("event");
   bool busyInHandler = false;

 private:
   void handleEvent() {
      busyInHandler = Vorn::Host::activity().busy;
      event->notifyOnReadableIs(false);
   }
   Vorn::NotifieeConst reactor_;
};

TEST(ActivityThreadsTest, ShowsALoopThatWaitsAsIdleUntilAnEventComes) {
   Waiting waiting;
   Vorn::Host::turn(0);
   std::uint64_t const turn = Vorn::Host::activity().turn;
   std::thread loop{[] { Vorn::Host::turn(); }};
   while (Vorn::Host::activity().busy || Vorn::Host::activity().turn == turn)
      std::this_thread::yield();
   waiting.wake();
   loop.join();
   EXPECT_TRUE(waiting.busyInHandler);
   EXPECT_TRUE(Vorn::Host::activity().busy);
}

// The path of an operation is of its own letter, as long as the turn has it.
std::string pathOf(std::uint64_t turn, std::size_t operation) {
   return std::string(120 * (turn % 3), static_cast<char>('a' + operation));
}

TEST(ActivityThreadsTest, ShowsAReaderOneMomentWhole) {
   static constexpr std::array operations{"open", "fsync", "close"};
   Vorn::Breadcrumb crumb;
   std::atomic<bool> done = false;
   std::thread writer{[&] {
      for (std::uint64_t turn = 1; !done; ++turn) {
         crumb.beginTurn();
         for (std::size_t n = 0; n < operations.size(); ++n) {
            crumb.enter(operations[n], pathOf(turn, n));
            if (turn % 8 == 0)
               std::this_thread::yield();  // or a reader would hardly ever find it in one
            crumb.leave();
         }
         crumb.beginWait();
      }
   }};
   int wrong = 0;
   for (int calls = 0; calls < 2000;) {
      Vorn::Host::Activity const seen = crumb.read();
      if (!seen.operation)
         continue;
      ++calls;
      auto const at = std::find(operations.begin(), operations.end(), seen.operation) - operations.begin();
      wrong += !seen.busy || seen.path() != pathOf(seen.turn, static_cast<std::size_t>(at));
   }
   done = true;
   writer.join();
   EXPECT_EQ(wrong, 0);
}

}  // namespace
