// A host's own event loop: it waits on the loop's descriptor alone and calls single turns.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <functional>

#include "runtime/Brul/PipedChildProcessSm.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/FileDescriptor.h"
#include "runtime/Vorn/Notifiee.h"
#include "runtime/host/Activity.h"
#include "runtime/host/Loop.h"
#include "runtime/host/TimeSource.h"
#include "tests/support/VirtualTimeTest.h"

namespace {

using Vorn::System::currentTime;

class Alarm {
 public:
   explicit Alarm(Vorn::Seconds time) { clock.timeMinIs(time); }
   void ring() { ++rings; }
   int rings = 0;
   Vorn::Clock::Notifiee<&Alarm::ring> clock{*this, Vorn::Seconds::infinity()};
};

// Takes a byte at each notification.
class ByteReader {
 public:
   explicit ByteReader(int fd) {
      end->descriptorIs(fd);
      reactor_.notifierIs(end);
      reactor_.on<&ByteReader::handleReadable>(end->readableCount, *this);
      reactor_.hasNotificationActiveIs(true);
      end->notifyOnReadableIs(true);
   }
   ~ByteReader() {
      int const fd = end->descriptor();
      end->descriptorIs(-1);
      close(fd);
   }
   ByteReader(ByteReader const &) = delete;
   ByteReader & operator=(ByteReader const &) = delete;

   Pelm::Ptr<Vorn::FileDescriptor> end = Pelm::make<Vorn::FileDescriptor>("reader");
   int reads = 0;

 private:
   void handleReadable() {
      char byte = 0;
      reads += ::read(end->descriptor(), &byte, 1) == 1;
   }
   Vorn::NotifieeConst reactor_;
};

class LoopDescriptorTest : public testing::Test {
 protected:
   LoopDescriptorTest() {
      Vorn::Host::timeSourceIs(nullptr);
      Vorn::Host::loopDescriptor();
      Vorn::Host::turn(0);
   }

   static bool isReadable(int patienceMs = 0) {
      pollfd loop{Vorn::Host::loopDescriptor(), POLLIN, 0};
      return poll(&loop, 1, patienceMs) == 1;
   }
   // The host's loop, for ten seconds at most.
   bool eventually(std::function<bool()> const & condition) {
      constexpr int patienceMs = 10000;
      while (!condition() && isReadable(patienceMs)) {
         Vorn::Host::turn(0);
         ++turns;
      }
      return condition();
   }

   int turns = 0;
};

TEST_F(LoopDescriptorTest, IsReadableOnceAClockIsDue) {
   Alarm const alarm{currentTime() + 0.05};
   EXPECT_FALSE(isReadable());
   EXPECT_TRUE(eventually([&] { return alarm.rings == 1; }));
   EXPECT_LE(turns, 3);
   EXPECT_FALSE(isReadable(20));
}

TEST_F(LoopDescriptorTest, IsReadableForAClockArmedEarlierBetweenTurns) {
   Alarm alarm{currentTime() + 1000};
   EXPECT_FALSE(isReadable(20));
   alarm.clock.timeMinIs(currentTime() + 0.02);
   EXPECT_TRUE(eventually([&] { return alarm.rings == 1; }));
}

TEST_F(LoopDescriptorTest, IsReadableForAClockThatAHandlerArms) {
   struct Chain {
      void ring() {
         if (++rings < 3)
            clock.timeMinIs(currentTime() + 0.01);
      }
      int rings = 0;
      Vorn::Clock::Notifiee<&Chain::ring> clock{*this, currentTime()};
   } chain;
   EXPECT_TRUE(eventually([&] { return chain.rings == 3; }));
}

TEST_F(LoopDescriptorTest, IsReadableAfterATurnInsideATurn) {
   struct Nested {
      void ring() {
         Vorn::Host::turn(0);
         clock.timeMinIs(currentTime() + (++rings < 3 ? Vorn::Seconds{0.01} : Vorn::Seconds::infinity()));
      }
      int rings = 0;
      Vorn::Clock::Notifiee<&Nested::ring> clock{*this, currentTime()};
   } nested;
   EXPECT_TRUE(eventually([&] { return nested.rings == 3; }));
   EXPECT_FALSE(isReadable(20));
}

TEST_F(LoopDescriptorTest, IsReadableWhileADescriptorIsReady) {
   std::array<int, 2> ends{};
   ASSERT_EQ(pipe(ends.data()), 0);
   ByteReader const reader{ends[0]};
   EXPECT_FALSE(isReadable());
   ASSERT_EQ(write(ends[1], "xy", 2), 2);
   EXPECT_TRUE(isReadable());
   EXPECT_TRUE(eventually([&] { return reader.reads == 2; }));
   EXPECT_FALSE(isReadable(20));
   close(ends[1]);
}

TEST_F(LoopDescriptorTest, IsReadableForAFileThatCannotBePolled) {
   ByteReader const reader{open("/proc/self/exe", O_RDONLY | O_CLOEXEC)};
   EXPECT_TRUE(eventually([&] { return reader.reads == 1; }));
   EXPECT_FALSE(isReadable(20)) << "it counts as ready once";
}

TEST_F(LoopDescriptorTest, RunsAProgramWithoutSpinning) {
   auto const run =
       Brul::PipedChildProcessSm::PipedChildProcessSmIs(Pelm::make<Brul::ChildProcessTrackerSm>());
   for (char const * const argument : {"sh", "-c", "sleep 0.3; echo hello"})
      run->argPush(argument);
   run->hasNotificationActiveIs(true);
   run->start(true, true);
   EXPECT_TRUE(eventually([&] { return run->state() == Brul::PipedChildProcessSm::State::finished; }));
   EXPECT_EQ(run->stdoutBuffer(), "hello\n");
   EXPECT_LT(turns, 20);
}

TEST_F(LoopDescriptorTest, LetsAWatchdogSeeThatTheLoopWaits) {
   EXPECT_FALSE(Vorn::Host::activity().busy);
   Vorn::Host::turn(0);
   EXPECT_FALSE(Vorn::Host::activity().busy);
}

class LoopDescriptorInVirtualTimeTest : public Support::VirtualTimeTest {};

TEST_F(LoopDescriptorInVirtualTimeTest, IsReadableUntilTheLastDeadline) {
   Alarm const day{currentTime() + 86400};
   pollfd loop{Vorn::Host::loopDescriptor(), POLLIN, 0};
   Vorn::Host::turn(0);
   while (poll(&loop, 1, 20) == 1)
      Vorn::Host::turn(0);
   EXPECT_EQ(day.rings, 1);
}

TEST_F(LoopDescriptorInVirtualTimeTest, WaitsForAProgramBeforeTheNextDeadline) {
   Alarm const day{currentTime() + 86400};
   auto const run =
       Brul::PipedChildProcessSm::PipedChildProcessSmIs(Pelm::make<Brul::ChildProcessTrackerSm>());
   run->argPush("sleep");
   run->argPush("0.2");
   run->hasNotificationActiveIs(true);
   run->start(true, true);
   pollfd loop{Vorn::Host::loopDescriptor(), POLLIN, 0};
   int turns = 0;
   for (; run->state() != Brul::PipedChildProcessSm::State::finished && poll(&loop, 1, 10000) == 1; ++turns)
      Vorn::Host::turn(0);
   EXPECT_EQ(run->state(), Brul::PipedChildProcessSm::State::finished);
   EXPECT_EQ(day.rings, 0);
   EXPECT_LT(turns, 20);
}

}  // namespace
