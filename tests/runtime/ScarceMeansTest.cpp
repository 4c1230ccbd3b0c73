// What the runtime does when descriptors, processes or memory are scarce: a failed run or a failed handler
// that says why, and nothing else.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/Brul/PipedChildProcessSm.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/Failure.h"
#include "runtime/Vorn/Process.h"
#include "runtime/Vorn/Shortage.h"
#include "runtime/host/Failure.h"
#include "runtime/host/Loop.h"
#include "runtime/host/TimeSource.h"
#include "tests/runtime/House.h"
#include "tests/support/FailingAllocations.h"

namespace {

int spawnError = 0;                   // what posix_spawn answers; 0: it makes the process
int allocationsMade = 0;              // or tried
std::size_t largestBlock = SIZE_MAX;  // a larger one cannot be had; 0: none

}  // namespace

// In the place of the C library's for this program.
extern "C" [[gnu::visibility("default")]] int posix_spawn(pid_t * pid, char const * path,
                                                          posix_spawn_file_actions_t const * actions,
                                                          posix_spawnattr_t const * attributes,
                                                          char * const * argv, char * const * environment) {
   static auto const real = reinterpret_cast<decltype(&posix_spawn)>(dlsym(RTLD_NEXT, "posix_spawn"));
   return spawnError ? spawnError : real(pid, path, actions, attributes, argv, environment);
}

bool Support::refusesAllocation(std::size_t bytes) {
   ++allocationsMade;
   return bytes > largestBlock;
}

namespace {

using Brul::ChildProcessTrackerSm;
using Brul::PipedChildProcessSm;
using State = PipedChildProcessSm::State;

class ScarceMeansTest : public testing::Test {
 protected:
   ScarceMeansTest() { Vorn::Host::timeSourceIs(nullptr); }
   ~ScarceMeansTest() override { spawnError = 0; }

   Pelm::Ptr<PipedChildProcessSm> run(std::vector<Pelm::String> const & argv) const {
      auto process = PipedChildProcessSm::PipedChildProcessSmIs(tracker);
      process->hasNotificationActiveIs(true);
      for (Pelm::String const & argument : argv)
         process->argPush(argument);
      process->start(true, true);
      EXPECT_EQ(process->state(), State::running) << "the end comes in a later turn";
      auto const over = [&] { return process->state() != State::running; };
      EXPECT_TRUE(Vorn::Host::runUntil(over, Vorn::System::currentTime() + 20));
      return process;
   }
   std::string reason() const { return tracker->finishedRun()->reason.str(); }

   Pelm::Ptr<ChildProcessTrackerSm> tracker = Pelm::make<ChildProcessTrackerSm>();
};

constexpr std::array spawnErrors{EMFILE, ENFILE, EAGAIN, ENOMEM, EACCES};

TEST_F(ScarceMeansTest, FailsARunThatCannotBeStartedAndNamesCauseAndRemedy) {
   for (int const error : spawnErrors) {
      std::string const cause = Vorn::errorAndRemedy(error);
      spawnError = error;
      auto const process = run({"true"});
      EXPECT_EQ(process->state(), State::failed);
      EXPECT_EQ(process->exitCode(), 127);
      EXPECT_EQ(process->stderrString(), "true: " + cause);
      EXPECT_EQ(reason(), cause);
   }
   spawnError = 0;
   EXPECT_EQ(run({"true"})->state(), State::finished) << "the next one runs";
   EXPECT_EQ(reason(), "");
}

TEST_F(ScarceMeansTest, KeepsTheErrorAndNoDescriptorOfAProcessThatCannotBeMade) {
   for (int const error : spawnErrors) {
      spawnError = error;
      int const in = open("/dev/null", O_RDONLY);
      EXPECT_EQ(Vorn::spawnProcess({"true"}, in, -1, -1), -1);
      EXPECT_EQ(errno, error);
      EXPECT_EQ(fcntl(in, F_GETFD), -1) << "it was taken over, and closed";
   }
}

TEST_F(ScarceMeansTest, ReportsARunThatWroteTooMuchToItsOwnerAndToTheHost) {
   auto const process = run({"head", "-c", "5000000", "/dev/zero"});
   EXPECT_EQ(process->stderrString(), "head: its output exceeded 4 MiB");
   EXPECT_EQ(reason(), "its output exceeded 4 MiB");
   EXPECT_FALSE(tracker->finishedRun()->timedOut);
   EXPECT_TRUE(
       Vorn::Host::runUntil([&] { return tracker->orphans() == 0; }, Vorn::System::currentTime() + 20));
}

TEST_F(ScarceMeansTest, FailsARunWithoutMemoryForItsOutputAndReportsIt) {
   largestBlock = 1000000;
   auto const process = run({"head", "-c", "3000000", "/dev/zero"});
   largestBlock = SIZE_MAX;
   EXPECT_EQ(process->state(), State::failed);
   EXPECT_EQ(process->stdoutBuffer(), "");
   EXPECT_EQ(reason(), "there was no memory for its output");
   EXPECT_TRUE(
       Vorn::Host::runUntil([&] { return tracker->orphans() == 0; }, Vorn::System::currentTime() + 20));
}

TEST_F(ScarceMeansTest, ReportsARunThatTookTooLongToItsOwnerAndToTheHost) {
   tracker->timeLimitIs(0.05);
   auto const process = run({"sleep", "1000"});
   EXPECT_EQ(process->stderrString(), "sleep: it exceeded its time limit");
   EXPECT_EQ(reason(), "it exceeded its time limit");
}

TEST_F(ScarceMeansTest, NamesNoReasonForARunThatFailedByItself) {
   auto const process = run({"sh", "-c", "echo no disk >&2; exit 3"});
   EXPECT_EQ(process->stderrString(), "no disk\n");
   EXPECT_EQ(reason(), "");
}

// A machine whose handler allocates memory when there is none.
class Hungry {
 public:
   explicit Hungry(Pelm::Ptr<RuntimeTest::House> const & house) {
      reactor_.notifierIs(house);
      reactor_.on<&Hungry::handleDoor>(house->door, *this);
      reactor_.hasNotificationActiveIs(true);
   }

 private:
   void handleDoor() {
      largestBlock = 0;
      wanted_ = std::make_unique<int>(1);
      ADD_FAILURE() << "there was memory";
   }
   std::unique_ptr<int> wanted_;
   Vorn::NotifieeConst reactor_;
};

TEST(ScarceMemoryTest, ReportsAHandlerWithoutMemoryWithoutAnAllocation) {
   static std::array<char, 64> machine;
   static std::array<char, 64> cause;
   int allocations = -1;
   Vorn::Host::failureSinkIs([&](std::string_view name, std::string_view what) {
      allocations = allocationsMade;
      name.copy(machine.data(), machine.size() - 1);
      what.copy(cause.data(), cause.size() - 1);
   });
   auto const house = Pelm::make<RuntimeTest::House>();
   Hungry const hungry{house};
   allocationsMade = 0;
   house->doorIs(1);
   largestBlock = SIZE_MAX;
   Vorn::Host::failureSinkIs(nullptr);
   EXPECT_EQ(allocations, 1) << "the handler's own";
   EXPECT_NE(std::string_view{machine.data()}.find("Hungry"), std::string_view::npos) << machine.data();
   EXPECT_STREQ(cause.data(), "out of memory");
}

// A machine that asks for its next time whenever its time has come.
class Ticking {
 public:
   int ticks() const { return ticks_; }

 private:
   void handleTime() {
      ++ticks_;
      clock_.timeMinIs(Vorn::System::currentTime() + 60);
   }
   int ticks_ = 0;
   Vorn::Clock::Notifiee<&Ticking::handleTime> clock_{*this};
};

TEST(ScarceMemoryTest, ContinuesAClockThatIsArmedWithoutMemory) {
   Vorn::Host::timeSourceIs(std::make_unique<Vorn::Host::VirtualTime>());
   Ticking const machine;
   Vorn::Host::turn();
   ASSERT_EQ(machine.ticks(), 1);
   largestBlock = 0;
   for (int turns = 0; turns < 20; ++turns)
      Vorn::Host::turn();
   largestBlock = SIZE_MAX;
   Vorn::Host::timeSourceIs(nullptr);
   EXPECT_EQ(machine.ticks(), 11) << "a turn to reach each time, another to handle it";
}

TEST(ScarceMemoryTest, LeavesALineOnStandardErrorForASinkWithoutMemory) {
   Vorn::Host::failureSinkIs([](std::string_view name, std::string_view) {
      std::string const copy(name.size() + 100, name.front());
   });
   auto const house = Pelm::make<RuntimeTest::House>();
   Hungry const hungry{house};
   testing::internal::CaptureStderr();
   house->doorIs(1);
   largestBlock = SIZE_MAX;
   Vorn::Host::failureSinkIs(nullptr);
   std::string const line = testing::internal::GetCapturedStderr();
   EXPECT_NE(line.find("Hungry"), std::string::npos);
   EXPECT_NE(line.find("a handler failed: out of memory"), std::string::npos) << line;
}

}  // namespace
