// The finer rules of the file system health test.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "StorageDevices/Factories.h"
#include "StorageDevices/FsHealthSm.h"
#include "tests/support/ChangeRecorder.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/MountPoint.h"
#include "tests/support/ProcessState.h"
#include "tests/support/TraceRecorder.h"
#include "tests/support/Units.h"
#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {

namespace {

namespace fs = std::filesystem;

using Texts = std::vector<std::string>;
using State = FsHealthSmState;

class FsHealthRulesTest : public Support::VirtualTimeTest {
 protected:
   FsHealthRulesTest() {
      Vorn::Host::turn();
      machine_ = make(blockSize);
   }

   Pelm::Ptr<FsHealthSm> make(std::uint32_t size) const {
      return fsHealthSmFactory(folder_.string().c_str(), size, devices_);
   }
   FsHealthIoOps & ops() const { return *machine_->ioOps(); }
   double nextTest() const {
      return (machine_->testClock()->timeMin() - Vorn::System::currentTime()).value();
   }
   // A test that went well.
   void passOnce() const {
      machine_->start();
      Vorn::Host::runFor(601);
      ASSERT_TRUE(machine_->writeTestOk() && machine_->readTestOk());
   }
   // A test whose failure was logged.
   void failOnce() const {
      ops().readRetIs(-1);
      ops().readErrnoIs(EIO);
      machine_->start();
      Vorn::Host::runFor(601);
      ASSERT_TRUE(machine_->syslogTriggered() && machine_->writeTestOk());
   }
   void use(int percent) const {
      ops().utilChkRetIs(percent);
      Vorn::Host::runFor(120);
   }

   Support::TempDir folder_{Support::folderWithDirectIo()};
   Support::LogRecorder logs_;
   Support::TraceRecorder traces_{{"StorageFsHealthSm", 7}};
   Pelm::Ptr<ConnectedDevices> devices_ = Pelm::make<ConnectedDevices>();
   Pelm::Ptr<FsHealthSm> machine_;
};

TEST_F(FsHealthRulesTest, DrawsEachCharacterFromDigitsThenCapitalsByTheCGenerator) {
   std::string const alphabet = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
   std::srand(20261122);
   machine_->start();
   std::srand(20261122);
   std::string expected;
   while (expected.size() < blockSize)
      expected += alphabet[static_cast<std::size_t>(std::rand()) % 36];  // NOLINT: as the machine draws
   EXPECT_EQ(machine_->cookieData(), expected);
}

TEST_F(FsHealthRulesTest, LeavesTheSeedOfTheGeneratorToTheHost) {
   std::srand(1);
   machine_->start();
   std::string const first = machine_->cookieData().str();
   std::srand(1);
   auto const another = make(blockSize);
   another->start();
   EXPECT_EQ(another->cookieData(), first);
}

TEST_F(FsHealthRulesTest, AlignsTheBlockToItsSize) {
   for (std::uint32_t const size : {512U, 4096U, 1U << 16, 1U << 20}) {
      auto const machine = make(size);
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(machine->alignedBlock()) % size, 0U) << size;
      machine->start();
      EXPECT_EQ(machine->cookieData().size(), size);
   }
}

TEST_F(FsHealthRulesTest, TreatsAUseBelowZeroAsNone) {
   use(86);
   EXPECT_TRUE(machine_->utilThresholdExceeded());
   use(-2);
   EXPECT_FALSE(machine_->utilThresholdExceeded()) << "compared as signed numbers";
   EXPECT_EQ(logs_.messages().size(), 1U);
}

TEST_F(FsHealthRulesTest, ComparesTheUseWithTheCurrentThreshold) {
   machine_->highUtilThresholdIs(90);
   use(90);
   EXPECT_FALSE(machine_->utilThresholdExceeded());
   use(91);
   EXPECT_TRUE(machine_->utilThresholdExceeded());
}

TEST_F(FsHealthRulesTest, SamplesTheUseAfterEachDelayAsItIsSet) {
   ops().utilChkRetIs(50);
   machine_->utilChkDelayIs(1000);
   EXPECT_EQ((machine_->utilChkClock()->timeMin() - Vorn::System::currentTime()).value(), 120)
       << "armed before it was set";
   Vorn::Host::runFor(121);
   EXPECT_NEAR((machine_->utilChkClock()->timeMin() - Vorn::System::currentTime()).value(), 999, 1.1);
   Vorn::Host::runFor(2000);
   EXPECT_EQ(traces_.texts(7).size(), 3U);
}

TEST_F(FsHealthRulesTest, ContinuesToSampleTheUseWhateverItWas) {
   for (int const percent : {-1, 86, 99, 10}) {
      use(percent);
      EXPECT_NEAR((machine_->utilChkClock()->timeMin() - Vorn::System::currentTime()).value(), 120, 1.1);
   }
}

TEST_F(FsHealthRulesTest, EntersSetupOnceAtEachStart) {
   Support::ChangeRecorder const texts{machine_->cookieData};
   Support::ChangeRecorder const states{machine_->state};
   machine_->start();
   EXPECT_EQ(texts.count(), 1U);
   EXPECT_EQ(states.count(), 2U) << "idle to setup to writeTest";
   machine_->start();
   EXPECT_EQ(texts.count(), 2U);
   EXPECT_EQ(traces_.count(7, "handleSetupState " + machine_->cookieFilePath().str()), 2);
}

TEST_F(FsHealthRulesTest, OnlyRunsWhenStartedWhileItWaitsInSetup) {
   fs::remove_all(folder_.path());
   machine_->stateIs(State::setup);
   EXPECT_FALSE(machine_->running());
   machine_->start();
   EXPECT_TRUE(machine_->running());
   EXPECT_EQ(logs_.messages().size(), 1U) << "the mount point is examined once";
}

TEST_F(FsHealthRulesTest, OnlyTracesAClockThatRingsInSetup) {
   fs::remove_all(folder_.path());
   machine_->start();
   traces_.clear();
   logs_.clear();
   machine_->handleTestClock();
   EXPECT_EQ(traces_.errors(), Texts{"handleTestClock unexpected state: setup"});
   EXPECT_EQ(machine_->state(), State{State::setup});
   EXPECT_EQ(logs_.texts(), Texts{});
}

TEST_F(FsHealthRulesTest, EntersCleanupOnceAtAStop) {
   machine_->stop();
   Support::ChangeRecorder const states{machine_->state};
   machine_->stop();
   EXPECT_EQ(states.count(), 0U);
   EXPECT_EQ(machine_->state(), State{State::cleanup});
}

TEST_F(FsHealthRulesTest, DoesNothingWhenItEntersTheStateThatItIsIn) {
   machine_->start();
   machine_->stateIs(State::readTest);
   Vorn::Host::runFor(100);
   machine_->stateIs(State::readTest);
   EXPECT_EQ(nextTest(), 200) << "it is not armed again";
}

TEST_F(FsHealthRulesTest, ForgetsLoggedErrorsBeforeItExaminesTheMountPoint) {
   failOnce();
   fs::remove_all(folder_.path());
   machine_->start();
   EXPECT_EQ(machine_->state(), State{State::setup});
   EXPECT_FALSE(machine_->syslogTriggered());
}

TEST_F(FsHealthRulesTest, KeepsThePhasesOfTheLastTestWhenASetupFails) {
   passOnce();
   std::string const text = machine_->cookieData().str();
   fs::remove_all(folder_.path() / "debug");
   fs::create_directories(machine_->cookieFilePath().str());
   machine_->start();
   EXPECT_EQ(machine_->nonSyslogErrorCount(), 1U);
   EXPECT_TRUE(machine_->writeTestOk() && machine_->readTestOk());
   EXPECT_EQ(machine_->cookieData(), text);
   fs::remove_all(folder_.path());
   machine_->start();
   EXPECT_EQ(machine_->state(), State{State::setup});
   EXPECT_TRUE(machine_->writeTestOk() && machine_->readTestOk());
}

TEST_F(FsHealthRulesTest, TracesOnlyAShortWrite) {
   machine_->start();
   Vorn::Host::runFor(299);
   ops().writeRetIs(static_cast<std::int32_t>(blockSize) + 1);
   Vorn::Host::runFor(2);
   EXPECT_TRUE(machine_->writeTestOk());
   EXPECT_EQ(traces_.errors(), Texts{});
   machine_->start();
   Vorn::Host::runFor(299);
   ops().writeRetIs(static_cast<std::int32_t>(blockSize) - 1);
   Vorn::Host::runFor(2);
   EXPECT_EQ(traces_.errors(), Texts{"doWriteTest not all data was written"});
}

TEST_F(FsHealthRulesTest, AcceptsPositiveResults) {
   ops().lseekRetIs(7);
   ops().fsyncRetIs(1);
   passOnce();
   EXPECT_EQ(traces_.errors(), Texts{});
   EXPECT_EQ(logs_.texts(), Texts{});
}

TEST_F(FsHealthRulesTest, AcceptsAPositiveResultOfAClose) {
   auto const before = Support::openDescriptors();
   machine_->start();
   Vorn::Host::runFor(299);
   ops().closeRetIs(1);
   Vorn::Host::runFor(2);
   EXPECT_TRUE(machine_->writeTestOk());
   EXPECT_EQ(machine_->fsHealthSmFd()->descriptor(), -1);
   EXPECT_EQ(traces_.errors(), Texts{});
   for (int const fd : Support::openDescriptors())
      if (!std::binary_search(before.begin(), before.end(), fd))
         close(fd);  // which the answer did not
}

TEST_F(FsHealthRulesTest, WatchesItsDescriptorOnlyForTheAwaitedEvent) {
   auto const & fd = *machine_->fsHealthSmFd();
   EXPECT_EQ(fd.name(), "fsHealthSm");
   EXPECT_TRUE(fd.nonBlocking());
   ops().lseekRetIs(-1);
   ops().lseekErrnoIs(EAGAIN);
   machine_->start();
   EXPECT_FALSE(fd.notifyOnWritable() || fd.notifyOnReadable());
   Vorn::Host::runFor(302);
   EXPECT_TRUE(fd.notifyOnWritable() && !fd.notifyOnReadable());
   ops().lseekRetIs(0);
   machine_->stop();
   EXPECT_FALSE(fd.notifyOnWritable() || fd.notifyOnReadable());
   machine_->start();
   Vorn::Host::runFor(302);
   ops().lseekRetIs(-1);
   Vorn::Host::runFor(300);
   EXPECT_TRUE(fd.notifyOnReadable() && !fd.notifyOnWritable());
}

TEST_F(FsHealthRulesTest, EndsATestAtOnceWhenReleased) {
   auto const before = Support::openDescriptors();
   machine_->start();
   Vorn::Host::runFor(299);
   machine_ = nullptr;
   traces_.clear();
   Vorn::Host::runFor(day);
   EXPECT_TRUE(traces_.lines().empty());
   EXPECT_FALSE(fs::exists(folder_.path() / "debug/healthTestCookie"));
   EXPECT_EQ(Support::openDescriptors(), before);
}

}  // namespace

}  // namespace StorageDevices
