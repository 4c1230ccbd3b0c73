// A health test that is stopped, started again or released, at any time and in any order.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <random>
#include <set>
#include <utility>

#include "runtime/host/Log.h"
#include "runtime/host/Trace.h"
#include "tests/StorageDevices/FsHealthSmTest.h"

namespace StorageDevices {

namespace {

using State = FsHealthSmState;

TEST_F(FsHealthSmTest, ClosesItsFileAndStaysStoppedWhenStoppedInAPhase) {
   auto const before = Support::openDescriptors();
   for (State::Value const phase : {State::writeTest, State::readTest}) {
      reach(phase);
      ops().lseekRetIs(-1);
      ops().lseekErrnoIs(EAGAIN);
      Vorn::Host::runFor(2);
      EXPECT_EQ(Support::openDescriptors().size(), before.size() + 1);
      machine_->stop();
      EXPECT_EQ(state(), "cleanup");
      EXPECT_EQ(nextTest(), -1);
      EXPECT_EQ(Support::openDescriptors(), before);
      Vorn::Host::runFor(10 * day);
      EXPECT_EQ(state(), "cleanup");
      ops().lseekRetIs(0);
   }
}

TEST_F(FsHealthSmTest, ClosesItsFileWhenDestroyedInAPhase) {
   auto const before = Support::openDescriptors();
   holdOpen(State::writeTest);
   machine_ = nullptr;
   EXPECT_EQ(Support::openDescriptors(), before);
}

TEST_F(FsHealthSmTest, IgnoresEventsAsAZombie) {
   ops().utilChkRetIs(86);
   reach(State::writeTest);
   Vorn::Host::runFor(1);
   machine_->vornDoZombieReactors(true);
   logs_.clear();
   traces_.clear();
   Vorn::Host::runFor(day);
   EXPECT_TRUE(traces_.lines().empty());
   EXPECT_EQ(state(), "writeTest");
}

TEST_F(FsHealthSmTest, TestsWithNewTextWhenStartedAgain) {
   machine_->start();
   std::string const first = machine_->cookieData().str();
   machine_->stop();
   machine_->start();
   EXPECT_EQ(state(), "writeTest");
   EXPECT_NE(machine_->cookieData().str(), first);
}

TEST_F(FsHealthSmTest, ClosesItsFileAndRestartsWhenStartedInAPhase) {
   auto const before = Support::openDescriptors();
   reach(State::writeTest);
   ops().lseekRetIs(-1);
   ops().lseekErrnoIs(EAGAIN);
   Vorn::Host::runFor(2);
   machine_->start();
   EXPECT_EQ(Support::openDescriptors(), before);
   EXPECT_EQ(state(), "writeTest");
   EXPECT_NEAR(nextTest(), 300, 0.1);
}

TEST_F(FsHealthSmTest, OnlyTracesAFailedCloseInCleanup) {
   reach(State::writeTest);
   ops().lseekRetIs(-1);
   ops().lseekErrnoIs(EAGAIN);
   Vorn::Host::runFor(2);
   ops().closeRetIs(-7);
   machine_->stop();
   EXPECT_EQ(traces_.errors(), Texts{"handleCleanupState failed to close fd -7"});
   EXPECT_EQ(machine_->nonSyslogErrorCount(), 0U);
}

TEST_F(FsHealthSmTest, TracesAClockThatRingsInCleanupAndTestsAgain) {
   machine_->stop();
   traces_.clear();
   machine_->handleTestClock();
   EXPECT_EQ(traces_.errors(), Texts{"handleTestClock unexpected state: cleanup"});
   EXPECT_EQ(state(), "writeTest");
}

TEST_F(FsHealthSmTest, EndsTheProcessWhereItsBlockCannotBeAllocated) {
   auto const writtenToStderr = [](Vorn::Host::TraceLine const & line) {
      std::fputs(line.text.c_str(), stderr);
   };
   EXPECT_DEATH(
       {
          Vorn::Host::traceSinkIs(writtenToStderr);
          fsHealthSmFactory("/", 3, devices_);
       },
       "Failed to allocate memory: Invalid argument");
}

TEST_F(FsHealthSmTest, AllowsAHostToReleaseItDuringItsNotification) {
   Support::ChangeRecorder const states{machine_->state};
   for (bool const hung : {true, false}) {
      machine_ = fsHealthSmFactory(folder_.string().c_str(), blockSize, devices_);
      ops().lseekRetIs(-1);
      ops().lseekErrnoIs(hung ? EAGAIN : EIO);
      bool released = false;
      Vorn::Host::logSinkIs([&](Vorn::Host::LogMessage const &) {
         released = true;
         machine_ = nullptr;
      });
      machine_->start();
      Vorn::Host::runFor(700);
      EXPECT_TRUE(released);
      EXPECT_FALSE(machine_);
   }
   Vorn::Host::logSinkIs(nullptr);
}

// Anything, in any order, many times over.
class FsHealthSequencesTest : public FsHealthSmTest {
 protected:
   struct Knob {
      void (FsHealthIoOps::*result)(std::int32_t);
      void (FsHealthIoOps::*error)(std::int32_t);
      bool takesAnyResult;  // that of an open or a close is a descriptor's
   };
   static constexpr Knob knobs[] = {{&FsHealthIoOps::openRetIs, &FsHealthIoOps::openErrnoIs, false},
                                    {&FsHealthIoOps::lseekRetIs, &FsHealthIoOps::lseekErrnoIs, true},
                                    {&FsHealthIoOps::readRetIs, &FsHealthIoOps::readErrnoIs, true},
                                    {&FsHealthIoOps::writeRetIs, &FsHealthIoOps::writeErrnoIs, true},
                                    {&FsHealthIoOps::fsyncRetIs, &FsHealthIoOps::fsyncErrnoIs, true},
                                    {&FsHealthIoOps::closeRetIs, &FsHealthIoOps::closeErrnoIs, false}};

   FsHealthSequencesTest() { traces_.levelsAre(-1); }

   unsigned pick(std::size_t count) { return static_cast<unsigned>(random_() % count); }
   void inject(Knob const & knob) {
      constexpr int errors[] = {0, EPERM, ENOENT, EIO, EACCES, EBUSY, ENOSPC, EDQUOT, EAGAIN, EINVAL, EINTR};
      constexpr int results[] = {0, -1, -2, 7};
      (ops().*knob.result)(results[pick(knob.takesAnyResult ? 4 : 2)]);
      (ops().*knob.error)(errors[pick(std::size(errors))]);
   }
   // The folder of the mount point comes and goes.
   void moveFolder() {
      std::string const aside = folder_.string() + ".aside";
      std::filesystem::rename(isThere_ ? folder_.string() : aside, isThere_ ? aside : folder_.string());
      isThere_ = !isThere_;
   }
   void doAnything(std::size_t knobCount) {
      switch (pick(10)) {
         case 0:
            machine_->start();
            break;
         case 1:
            machine_->stop();
            break;
         case 2:
            inject(knobs[pick(knobCount)]);
            break;
         case 3:
            machine_->handleTestClock();
            break;
         case 4:
            if (!isThere_ || pick(4) == 0)
               moveFolder();
            break;
         default:
            Vorn::Host::runFor(static_cast<double>(pick(400)));
      }
   }
   // Waiting for a restart, since its mount point was missing.
   bool parked() const { return machine_->running() && machine_->state() == State::setup; }
   void expectOrder() {
      bool const stopped = !machine_->running() && machine_->state() == State::cleanup;
      bool const waits = machine_->running() && !parked();
      ASSERT_FALSE(waits && nextTest() == -1) << state();
      ASSERT_FALSE((stopped || parked()) && nextTest() != -1) << state();
      parkings_ += parked();
   }
   void expectTable(Support::ChangeRecorder<Vorn::Attribute<State, FsHealthSm>> const & states) {
      static std::set<std::pair<int, int>> const steps{{State::setup, State::writeTest},
                                                       {State::writeTest, State::readTest},
                                                       {State::readTest, State::idle},
                                                       {State::cleanup, State::idle}};
      for (auto const & change : states.changes()) {
         bool const always = *change.now == State::setup || *change.now == State::cleanup;
         ASSERT_TRUE(always || steps.contains({*change.old, *change.now}))
             << *change.old << " to " << *change.now;
         seen_.insert({*change.old, *change.now});
      }
   }
   void run(int sequences, std::size_t knobCount) {
      for (int i = 0; i < sequences && !HasFatalFailure(); ++i) {
         Support::ChangeRecorder const states{machine_->state};
         for (unsigned step = 0; step < 6 && !HasFatalFailure(); ++step) {
            doAnything(knobCount);
            expectOrder();
         }
         expectTable(states);
         // Closes that are made to fail leave theirs open.
         if (knobCount < std::size(knobs)) {
            ASSERT_LE(Support::openDescriptors().size(), before_.size() + 1) << "in sequence " << i;
         }
      }
      machine_->stop();
      if (!isThere_)
         moveFolder();
      EXPECT_GT(parkings_, 0);
   }

   std::mt19937 random_{20261120};
   bool isThere_ = true;
   int parkings_ = 0;
   std::set<std::pair<int, int>> seen_;
   std::vector<int> before_ = Support::openDescriptors();
};

TEST_F(FsHealthSequencesTest, StaysInItsTableWithANextClockAndAtMostOneFile) {
   run(10000, std::size(knobs) - 1);
   EXPECT_EQ(Support::openDescriptors(), before_);
   EXPECT_GE(seen_.size(), 12U) << "every way through the table was taken";
}

TEST_F(FsHealthSequencesTest, StaysInItsTableWhenClosesFail) {
   run(300, std::size(knobs));
   for (int const leaked : Support::openDescriptors())
      if (!std::binary_search(before_.begin(), before_.end(), leaked))
         close(leaked);
}

}  // namespace

}  // namespace StorageDevices
