#include "StorageDevices/FsHealthSm.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <ostream>
#include <random>
#include <set>

#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include "StorageDevices/Factories.h"
#include "runtime/host/Log.h"
#include "runtime/host/Trace.h"
#include "tests/support/ChangeRecorder.h"
#include "tests/support/DiskFields.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/MountPoint.h"
#include "tests/support/ProcessState.h"
#include "tests/support/TraceRecorder.h"
#include "tests/support/Units.h"
#include "tests/support/VirtualTimeTest.h"

namespace {

std::optional<struct statvfs> statvfsAnswer;
std::string statvfsPath;

}  // namespace

// In the place of the C library's for this program.
extern "C" int statvfs(char const * path, struct statvfs * status) noexcept {
   static auto const real = reinterpret_cast<decltype(&statvfs)>(dlsym(RTLD_NEXT, "statvfs"));
   if (!statvfsAnswer)
      return real(path, status);
   *status = *statvfsAnswer;
   statvfsPath = path;
   return 0;
}

namespace StorageDevices {

namespace {

using Texts = std::vector<std::string>;
using State = FsHealthSmState;

class FsHealthSmTest : public Support::VirtualTimeTest {
 protected:
   FsHealthSmTest() {
      Vorn::Host::turn();  // opens the descriptors of the loop itself, whichever test is the first
      Support::DiskFields{.name = "S1", .mountPoint = folder_.string()}.writeTo(*devices_);
      machine_ = fsHealthSmFactory(folder_.string().c_str(), blockSize, devices_);
   }

   FsHealthIoOps & ops() const { return *machine_->ioOps(); }
   std::string state() const { return machine_->state().stringValue().str(); }
   std::filesystem::path cookie() const { return folder_.path() / "debug/healthTestCookie"; }
   // Starts a test and lets it come to a phase in which the file is open and ready.
   void reach(State::Value phase) {
      machine_->start();
      Vorn::Host::runFor(phase == State::writeTest ? 299 : 599);
   }
   // The names and messages of what was logged: "writeTest - open: No such file or directory".
   Texts logged() const {
      Texts result;
      for (auto const & message : logs_.messages())
         result.push_back(message.arguments.size() == 6 ? message.arguments[0] + ": " + message.arguments[5]
                                                        : message.name + ": " + message.arguments[4]);
      return result;
   }
   // Starts a test and keeps its file open in a phase, as one that is never ready: every look at it is to be
   // tried again.
   int holdOpen(State::Value phase) {
      auto const before = Support::openDescriptors();
      reach(phase);
      ops().lseekRetIs(-1);
      ops().lseekErrnoIs(EAGAIN);
      Vorn::Host::runFor(2);
      for (int const fd : Support::openDescriptors())
         if (std::find(before.begin(), before.end(), fd) == before.end())
            return fd;
      return -1;
   }
   // Seconds until the test clock rings; -1: never.
   double nextTest() const {
      Vorn::Seconds const at = machine_->testClock()->timeMin();
      return at == Vorn::Seconds::infinity() ? -1 : (at - Vorn::System::currentTime()).value();
   }

   Support::TempDir folder_{Support::folderWithDirectIo()};
   Support::LogRecorder logs_;
   Support::TraceRecorder traces_{{"StorageFsHealthSm", 7}};
   Pelm::Ptr<ConnectedDevices> devices_ = Pelm::make<ConnectedDevices>();
   Pelm::Ptr<FsHealthSm> machine_;
};

TEST_F(FsHealthSmTest, DoesNothingBeforeItIsStarted) {
   EXPECT_EQ(state(), "idle");
   EXPECT_EQ(nextTest(), -1);
   Vorn::Host::runFor(day);
   EXPECT_EQ(state(), "idle");
   EXPECT_FALSE(std::filesystem::exists(folder_.path() / "debug"));
}

TEST_F(FsHealthSmTest, WritesReadsAndRests) {
   machine_->start();
   EXPECT_EQ(state(), "writeTest");
   EXPECT_EQ(nextTest(), 300);
   EXPECT_EQ(machine_->cookieFilePath(), cookie().string());
   EXPECT_FALSE(std::filesystem::exists(cookie()));
   Vorn::Host::runFor(301);
   EXPECT_EQ(state(), "readTest");
   EXPECT_TRUE(machine_->writeTestOk());
   EXPECT_FALSE(machine_->readTestOk());
   EXPECT_EQ(Support::fileContent(cookie()), machine_->cookieData().str());
   Vorn::Host::runFor(300);
   EXPECT_EQ(state(), "idle");
   EXPECT_TRUE(machine_->readTestOk());
   EXPECT_NEAR(nextTest(), 299, 1.1);
   EXPECT_TRUE(logs_.messages().empty());
   EXPECT_TRUE(traces_.errors().empty());
}

TEST_F(FsHealthSmTest, TestsAgainWithNewTextEveryFifteenMinutes) {
   machine_->start();
   std::set<std::string> texts;
   for (int i = 0; i < 10; ++i) {
      texts.insert(machine_->cookieData().str());
      Vorn::Host::runFor(900);
   }
   EXPECT_EQ(texts.size(), 10U);
   EXPECT_TRUE(logs_.messages().empty());
}

TEST_F(FsHealthSmTest, WaitsForEachOfItsDelaysAsItIsSet) {
   machine_->testDelayIs(100);
   machine_->hungDelayIs(50);
   ops().lseekRetIs(-1);
   ops().lseekErrnoIs(EAGAIN);
   machine_->start();
   EXPECT_EQ(nextTest(), 100) << "to the writing";
   Vorn::Host::runFor(101);
   EXPECT_NEAR(nextTest(), 49, 1) << "for the file to be ready";
   ops().lseekRetIs(0);
   machine_->start();
   Vorn::Host::runFor(101);
   EXPECT_EQ(state(), "readTest");
   EXPECT_NEAR(nextTest(), 99, 1.1) << "to the reading";
   ops().lseekRetIs(-1);
   Vorn::Host::runFor(100);
   EXPECT_NEAR(nextTest(), 49, 1.1);
   machine_->pauseDelayIs(1000);
   Vorn::Host::runFor(50);
   EXPECT_EQ(logged(), Texts{"readTest: fd is hung"});
   EXPECT_NEAR(nextTest(), 999, 1.1) << "after a failure that was logged";
}

TEST_F(FsHealthSmTest, TracesEachStep) {
   machine_->start();
   Vorn::Host::runFor(900);
   Texts expected{"handleSetupState " + cookie().string(), "handleTestClock writeTest",
                  "doWriteTest has writableCount: 1", "handleTestClock readTest",
                  "doReadTest has readable: 1"};
   Texts told;
   for (std::string const & text : traces_.texts(7))
      if (text.find("Util") == std::string::npos)
         told.push_back(text);
   told.resize(expected.size());
   EXPECT_EQ(told, expected);
}

TEST_F(FsHealthSmTest, StartsEachTestWithoutResultsOfTheLastOne) {
   ops().writeRetIs(-1);
   ops().writeErrnoIs(EIO);
   machine_->start();
   Vorn::Host::runFor(302);
   EXPECT_TRUE(machine_->syslogTriggered());
   ops().writeRetIs(0);
   Vorn::Host::runFor(day);
   EXPECT_FALSE(machine_->syslogTriggered());
   Vorn::Host::runFor(600);
   EXPECT_TRUE(machine_->writeTestOk() && machine_->readTestOk());
   EXPECT_NEAR(nextTest(), 300, 3) << "and does not pause for the failure of the last one";
   Vorn::Host::runFor(300);
   EXPECT_EQ(state(), "writeTest");
   EXPECT_FALSE(machine_->writeTestOk() || machine_->readTestOk());
}

TEST_F(FsHealthSmTest, BypassesThePageCache) {
   for (State::Value const phase : {State::writeTest, State::readTest}) {
      int const fd = holdOpen(phase);
      ASSERT_GE(fd, 0);
      int const access = phase == State::writeTest ? O_WRONLY : O_RDONLY;
      EXPECT_EQ(fcntl(fd, F_GETFL) & (O_ACCMODE | O_DIRECT | O_NONBLOCK), access | O_DIRECT | O_NONBLOCK);
      EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
      machine_->stop();
      ops().lseekRetIs(0);
   }
}

TEST_F(FsHealthSmTest, WritesABlockOfDigitsAndCapitals) {
   machine_->start();
   std::string const & text = machine_->cookieData().str();
   EXPECT_EQ(text.size(), blockSize);
   EXPECT_EQ(text.find_first_not_of("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"), std::string::npos);
   EXPECT_EQ(std::set<char>(text.begin(), text.end()).size(), 36U);
}

TEST_F(FsHealthSmTest, TouchesOnlyItsOwnFile) {
   folder_.write("precious", "data");
   std::filesystem::create_directory(folder_.path() / "debug");
   folder_.write("debug/other", "data");
   folder_.write("debug/healthTestCookie", "stale");
   machine_->start();
   EXPECT_FALSE(std::filesystem::exists(cookie())) << "a stale file goes before the test";
   Vorn::Host::runFor(day + 400);
   Texts files;
   for (auto const & file : std::filesystem::recursive_directory_iterator{folder_.path()})
      files.push_back(file.path().filename());
   std::sort(files.begin(), files.end());
   EXPECT_EQ(files, (Texts{"debug", "healthTestCookie", "other", "precious"}));
   EXPECT_EQ(folder_.content("precious") + folder_.content("debug/other"), "datadata");
}

TEST_F(FsHealthSmTest, ReportsAMissingMountPointOnceAndWaitsForARestart) {
   std::filesystem::remove_all(folder_.path());
   machine_->start();
   EXPECT_EQ(logged(), Texts{"setupTest - exists: not a directory or doesn't exist"});
   EXPECT_EQ(state(), "setup");
   EXPECT_EQ(nextTest(), -1);
   machine_->start();
   Vorn::Host::runFor(10 * day);
   EXPECT_EQ(logged().size(), 1U);
   std::filesystem::create_directory(folder_.path());
   machine_->stop();
   machine_->start();
   EXPECT_EQ(state(), "writeTest");
}

TEST_F(FsHealthSmTest, StopsTheClockWhenTheMountPointIsGoneAtARestart) {
   machine_->start();
   EXPECT_EQ(nextTest(), 300);
   std::filesystem::remove_all(folder_.path());
   machine_->start();
   EXPECT_EQ(state(), "setup");
   EXPECT_EQ(nextTest(), -1);
}

TEST_F(FsHealthSmTest, RefusesAFileAsAMountPoint) {
   std::filesystem::remove_all(folder_.path());
   std::ofstream{folder_.path()} << "file";
   machine_->start();
   EXPECT_EQ(logged(), Texts{"setupTest - exists: not a directory or doesn't exist"});
}

TEST_F(FsHealthSmTest, TracesAFolderInThePlaceOfItsFileAndRetries) {
   std::filesystem::create_directories(cookie() / "x");
   machine_->start();
   EXPECT_EQ(traces_.errors(), Texts{"setupTest - unlink failed with Is a directory"});
   EXPECT_EQ(machine_->nonSyslogErrorCount(), 1U);
   EXPECT_EQ(state(), "idle");
   EXPECT_EQ(nextTest(), 300);
   EXPECT_TRUE(logs_.messages().empty());
}

TEST_F(FsHealthSmTest, LogsAMediumErrorInSetupAndPausesForADay) {
   machine_ = fsHealthSmFactory("/proc/self", blockSize, devices_);  // where no folder can be made
   machine_->start();
   ASSERT_EQ(logged().size(), 1U);
   EXPECT_TRUE(logged()[0].starts_with("setupTest - mkdir: ")) << logged()[0];
   EXPECT_TRUE(machine_->syslogTriggered());
   EXPECT_EQ(state(), "idle");
   EXPECT_EQ(nextTest(), day);
}

TEST_F(FsHealthSmTest, RestrictsItsFolderToItsUserAndGroup) {
   mode_t const before = umask(0);
   machine_->start();
   umask(before);
   struct stat status {};
   ASSERT_EQ(stat((folder_.path() / "debug").c_str(), &status), 0);
   EXPECT_EQ(status.st_mode & 0777U, 0770U);
}

TEST_F(FsHealthSmTest, MakesItsFileReadableForEverybody) {
   mode_t const before = umask(0);
   reach(State::writeTest);
   Vorn::Host::runFor(2);
   umask(before);
   struct stat status {};
   ASSERT_EQ(stat(cookie().c_str(), &status), 0);
   EXPECT_EQ(status.st_mode & 0777U, 0644U);
}

TEST_F(FsHealthSmTest, TracesAFileInThePlaceOfItsFolderAndRetries) {
   folder_.write("debug", "");
   machine_->start();
   EXPECT_EQ(traces_.errors(), Texts{"setupTest - unlink failed with Not a directory"});
   EXPECT_EQ(state(), "idle");
}

TEST_F(FsHealthSmTest, NamesTheDiskInItsMessages) {
   ops().openRetIs(-1);
   ops().openErrnoIs(EIO);
   reach(State::writeTest);
   Vorn::Host::runFor(2);
   ASSERT_EQ(logs_.messages().size(), 1U);
   EXPECT_EQ(logs_.messages()[0].name, "STORAGEDEVICE_MONITOR_ERROR");
   EXPECT_EQ(logs_.messages()[0].arguments, (Texts{"writeTest - open", folder_.string(), "S1", "Kestrel_S2",
                                                   "KF1.2", "Input/output error"}));
   devices_->diskDel("S1");
   Vorn::Host::runFor(day + 301);
   ASSERT_EQ(logs_.messages().size(), 2U);
   EXPECT_EQ(logs_.messages()[1].arguments,
             (Texts{"writeTest - open", "", "", "", "", "Input/output error"}));
}

// A step of the test that fails, in which phase, and what it is called.
struct Step {
   char const * name;
   State::Value phase;
   void (FsHealthIoOps::*result)(std::int32_t);
   void (FsHealthIoOps::*error)(std::int32_t);

   // As a failure names it.
   friend void PrintTo(Step const & step, std::ostream * out) { *out << step.name; }
};

class FsHealthStepsTest : public FsHealthSmTest, public testing::WithParamInterface<Step> {
 protected:
   // The step fails with that error while its phase runs.
   void failWith(int error) {
      reach(GetParam().phase);
      (ops().*GetParam().result)(-1);
      (ops().*GetParam().error)(error);
      Vorn::Host::runFor(2);
   }
   void heal() {
      (ops().*GetParam().result)(0);
      (ops().*GetParam().error)(0);
   }
};

TEST_P(FsHealthStepsTest, LogsAMediumErrorAndPausesForADay) {
   for (int const error : {EPERM, ENOENT, EIO, EACCES, EBUSY, ENOSPC, EDQUOT}) {
      logs_.clear();
      failWith(error);
      EXPECT_EQ(logged(), Texts{std::string{GetParam().name} + ": " + std::strerror(error)});
      EXPECT_TRUE(machine_->syslogTriggered());
      EXPECT_EQ(state(), "idle");
      EXPECT_NEAR(nextTest(), day, 3);
      heal();
      machine_->stop();
   }
   EXPECT_EQ(machine_->nonSyslogErrorCount() + machine_->eagainErrorCount(), 0U);
}

TEST_P(FsHealthStepsTest, TracesAnotherErrorAndTestsAgainSoon) {
   for (int const error : {EINVAL, EINTR, ENODEV, 0}) {
      traces_.clear();
      failWith(error);
      EXPECT_EQ(traces_.errors()[0], std::string{GetParam().name} + " failed with " + std::strerror(error));
      EXPECT_EQ(state(), "idle");
      EXPECT_NEAR(nextTest(), 300, 3);
      heal();
      machine_->stop();
   }
   EXPECT_TRUE(logs_.messages().empty());
   EXPECT_EQ(machine_->nonSyslogErrorCount(), 4U);
}

TEST_P(FsHealthStepsTest, CountsAnAgainOnceAndLeavesTheRestToTheHungTimer) {
   failWith(EAGAIN);
   EXPECT_EQ(state(), GetParam().phase == State::writeTest ? "writeTest" : "readTest");
   EXPECT_EQ(machine_->eagainErrorCount(), 1U);
   EXPECT_TRUE(logs_.messages().empty());
   EXPECT_NEAR(nextTest(), 300, 3);
   Vorn::Host::runFor(200);
   EXPECT_EQ(machine_->eagainErrorCount(), 1U) << "it neither spins nor counts twice";
   std::string const name = GetParam().name;
   bool const opening = name.ends_with("open");
   heal();
   Vorn::Host::runFor(110);
   // A file that could not be opened is tried again.
   EXPECT_EQ(logged(), opening ? Texts{} : Texts{name.substr(0, name.find(' ')) + ": fd is hung"});
   if (!opening) {
      EXPECT_EQ(state(), "idle");
      EXPECT_TRUE(machine_->syslogTriggered());
      EXPECT_NEAR(nextTest(), day, 15);
   }
}

TEST_P(FsHealthStepsTest, LeavesNoDescriptorAfterAFailure) {
   auto const before = Support::openDescriptors();
   bool const closing = std::string{GetParam().name}.ends_with("close");
   for (int const error : {EIO, EINVAL, EAGAIN}) {
      failWith(error);
      heal();
      machine_->stop();
   }
   EXPECT_EQ(Support::openDescriptors().size(), before.size() + (closing ? 2 : 0))
       << "a close that is made to fail does not close";
}

TEST_P(FsHealthStepsTest, AllowsTheHostToReleaseTheMachineAtAFailure) {
   Vorn::Host::logSinkIs([this](Vorn::Host::LogMessage const &) { machine_ = nullptr; });
   failWith(EIO);
   EXPECT_FALSE(machine_);
   Vorn::Host::runFor(day);
}

INSTANTIATE_TEST_SUITE_P(
    All, FsHealthStepsTest,
    testing::Values(
        Step{"writeTest - open", State::writeTest, &FsHealthIoOps::openRetIs, &FsHealthIoOps::openErrnoIs},
        Step{"writeTest - lseek", State::writeTest, &FsHealthIoOps::lseekRetIs, &FsHealthIoOps::lseekErrnoIs},
        Step{"writeTest - write", State::writeTest, &FsHealthIoOps::writeRetIs, &FsHealthIoOps::writeErrnoIs},
        Step{"writeTest - fsync", State::writeTest, &FsHealthIoOps::fsyncRetIs, &FsHealthIoOps::fsyncErrnoIs},
        Step{"writeTest - close", State::writeTest, &FsHealthIoOps::closeRetIs, &FsHealthIoOps::closeErrnoIs},
        Step{"readTest - open", State::readTest, &FsHealthIoOps::openRetIs, &FsHealthIoOps::openErrnoIs},
        Step{"readTest - lseek", State::readTest, &FsHealthIoOps::lseekRetIs, &FsHealthIoOps::lseekErrnoIs},
        Step{"readTest - read", State::readTest, &FsHealthIoOps::readRetIs, &FsHealthIoOps::readErrnoIs},
        Step{"readTest - close", State::readTest, &FsHealthIoOps::closeRetIs, &FsHealthIoOps::closeErrnoIs}));

TEST_F(FsHealthSmTest, LogsAllErrorsOfTheMediumAndNoOthers) {
   std::set<int> loggedErrors;
   machine_->start();
   for (int error = 0; error <= EHWPOISON; ++error) {
      logs_.clear();
      ops().openRetIs(-1);
      ops().openErrnoIs(error);
      Vorn::Host::runFor(301);
      if (!logs_.messages().empty())
         loggedErrors.insert(error);
      machine_->start();
   }
   EXPECT_EQ(loggedErrors, (std::set<int>{EPERM, ENOENT, EIO, EACCES, EBUSY, ENOSPC, EDQUOT}));
}

TEST_F(FsHealthSmTest, FailsWritingAtAnyNegativeSeekAndReadingOnlyAtMinusOne) {
   reach(State::writeTest);
   ops().lseekRetIs(-2);
   ops().lseekErrnoIs(EIO);
   Vorn::Host::runFor(2);
   EXPECT_EQ(logged(), Texts{"writeTest - lseek: Input/output error"});
   machine_->stop();
   ops().lseekRetIs(0);
   reach(State::readTest);
   ops().lseekRetIs(-2);
   Vorn::Host::runFor(2);
   EXPECT_TRUE(machine_->readTestOk());
   EXPECT_EQ(logged().size(), 1U);
}

TEST_F(FsHealthSmTest, TracesAShortWriteAndContinuesThePhase) {
   reach(State::writeTest);
   ops().writeRetIs(100);
   Vorn::Host::runFor(2);
   EXPECT_EQ(traces_.errors(), Texts{"doWriteTest not all data was written"});
   EXPECT_TRUE(machine_->writeTestOk());
   EXPECT_EQ(machine_->nonSyslogErrorCount(), 0U);
}

TEST_F(FsHealthSmTest, LogsReadDataThatDiffersAndNeitherPausesNorStops) {
   reach(State::readTest);
   std::ofstream{cookie()} << std::string(blockSize, 'A');
   Vorn::Host::runFor(2);
   EXPECT_EQ(logged(), Texts{"readTest - read: data doesn't match"});
   EXPECT_TRUE(machine_->readTestOk());
   EXPECT_FALSE(machine_->syslogTriggered());
   EXPECT_NEAR(nextTest(), 300, 3);
}

TEST_F(FsHealthSmTest, ComparesEveryByteThatWasWritten) {
   reach(State::readTest);
   std::fstream{cookie()}.seekp(blockSize - 1).put('*');
   Vorn::Host::runFor(2);
   EXPECT_EQ(logged(), Texts{"readTest - read: data doesn't match"});
}

TEST_F(FsHealthSmTest, DoesNotTakeAnEmptyReadForTheWrittenData) {
   reach(State::readTest);
   ops().readRetIs(static_cast<std::int32_t>(blockSize));
   Vorn::Host::runFor(2);
   EXPECT_EQ(logged(), Texts{"readTest - read: data doesn't match"});
}

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

TEST_F(FsHealthSmTest, SamplesTheUseOfItsMountPoint) {
   statvfsAnswer.emplace();
   Vorn::Host::runFor(121);
   statvfsAnswer.reset();
   EXPECT_EQ(statvfsPath, folder_.string());
}

TEST_F(FsHealthSmTest, WarnsOnceWhenTheUseRisesAboveTheThreshold) {
   auto const use = [&](int percent) {
      ops().utilChkRetIs(percent);
      Vorn::Host::runFor(120);
   };
   use(85);
   EXPECT_TRUE(logs_.messages().empty());
   use(86);
   EXPECT_EQ(logged(), Texts{"STORAGEDEVICE_MONITOR_WARNING: has exceeded 85 percent"});
   EXPECT_TRUE(machine_->utilThresholdExceeded());
   use(99);
   EXPECT_EQ(logged().size(), 1U);
   use(-1);
   EXPECT_TRUE(machine_->utilThresholdExceeded()) << "not knowing changes nothing";
   EXPECT_EQ(traces_.texts(7).back(), "doUtilChkFailed to get disk utilization for: " + folder_.string());
   use(85);
   EXPECT_FALSE(machine_->utilThresholdExceeded());
   use(86);
   EXPECT_EQ(logged().size(), 2U);
}

TEST_F(FsHealthSmTest, WarnsBeforeItRecordsTheThresholdAsExceeded) {
   std::optional<bool> exceeded;
   Vorn::Host::logSinkIs(
       [&](Vorn::Host::LogMessage const &) { exceeded = machine_->utilThresholdExceeded(); });
   ops().utilChkRetIs(86);
   Vorn::Host::runFor(121);
   EXPECT_EQ(exceeded, false);
   EXPECT_TRUE(machine_->utilThresholdExceeded());
}

TEST_F(FsHealthSmTest, AllowsItsWarningToMakeTheHostReleaseIt) {
   Vorn::Host::logSinkIs([this](Vorn::Host::LogMessage const &) { machine_ = nullptr; });
   ops().utilChkRetIs(86);
   Vorn::Host::runFor(day);
   EXPECT_FALSE(machine_);
}

TEST_F(FsHealthSmTest, WritesEightyFivePercentInTheWarningWhateverTheThreshold) {
   machine_->highUtilThresholdIs(10);
   ops().utilChkRetIs(11);
   Vorn::Host::runFor(121);
   EXPECT_EQ(logs_.texts(), Texts{"disk utilization on " + folder_.string() +
                                  " (SN:S1 Model:Kestrel_S2 Firmware:KF1.2) has exceeded 85 percent"});
}

TEST_F(FsHealthSmTest, SamplesTheUseEveryTwoMinutesFromTheStartAlsoWhenStopped) {
   ops().utilChkRetIs(50);
   machine_->stop();
   Vorn::Host::runFor(119);
   EXPECT_TRUE(traces_.texts(7).empty());
   Vorn::Host::runFor(241);
   EXPECT_EQ(traces_.texts(7), Texts(3, "doUtilChk: Disk Utilization for " + folder_.string() + " 50"));
}

TEST_F(FsHealthSmTest, EndsTheProcessWhereItsBlockCannotBeAllocated) {
   auto const toldOnStderr = [](Vorn::Host::TraceLine const & line) {
      std::fputs(line.text.c_str(), stderr);
   };
   EXPECT_DEATH(
       {
          Vorn::Host::traceSinkIs(toldOnStderr);
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
      bool told = false;
      Vorn::Host::logSinkIs([&](Vorn::Host::LogMessage const &) {
         told = true;
         machine_ = nullptr;
      });
      machine_->start();
      Vorn::Host::runFor(700);
      EXPECT_TRUE(told);
      EXPECT_FALSE(machine_);
   }
   Vorn::Host::logSinkIs(nullptr);
}

TEST_F(FsHealthSmTest, IgnoresEventsBeforeItIsInitialised) {
   machine_ = Pelm::make<FsHealthSm>(folder_.string().c_str(), blockSize, devices_);
   machine_->handleTestClock();
   machine_->doWriteTest();
   machine_->doReadTest();
   machine_->doUtilChk();
   EXPECT_EQ(state(), "idle");
   EXPECT_TRUE(traces_.lines().empty());
}

TEST(FsHealthSmStateTest, HasNamesAndValues) {
   EXPECT_EQ(State{State::readTest}.stringValue(), "readTest");
   EXPECT_EQ(State::instance("cleanup")->value(), State::cleanup);
   std::string const name = "setup";
   EXPECT_EQ(State::sequenceToValue(name.data(), name.data() + name.size()), State{State::setup});
   EXPECT_FALSE(State::instance("asleep"));
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

class FsHealthIoOpsTest : public testing::Test {
 protected:
   Support::TempDir folder_;
   Pelm::Ptr<FsHealthIoOps> ops_ = fsHealthIoOpsFactory();
};

TEST_F(FsHealthIoOpsTest, MakesTheRealCallsByDefault) {
   Pelm::String const path{(folder_.path() / "file").string()};
   int const fd = ops_->openPath(path, O_RDWR | O_CREAT);
   ASSERT_GE(fd, 0);
   EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
   EXPECT_EQ(ops_->writeFd(fd, "hello", 5), 5);
   EXPECT_EQ(ops_->lseekFd(fd, 1, SEEK_SET), 1);
   char text[8] = {};
   EXPECT_EQ(ops_->readFd(fd, text, 4), 4);
   EXPECT_STREQ(text, "ello");
   EXPECT_EQ(ops_->fsyncFd(fd), 0);
   EXPECT_EQ(ops_->closeFd(fd), 0);
   EXPECT_EQ(ops_->closeFd(fd), -1);
   EXPECT_EQ(errno, EBADF);
   EXPECT_EQ(ops_->getUtilPercent("/nowhere"), -1);
   EXPECT_EQ(ops_->getUtilPercent("/proc"), -1) << "no used and no available blocks";
}

TEST_F(FsHealthIoOpsTest, OpensAnyPathThatAHostNames) {
   folder_.write("file", "data");
   std::filesystem::create_symlink("file", folder_.path() / "link");
   int const fd = ops_->openPath(Pelm::String{(folder_.path() / "link").string()}, O_RDONLY);
   ASSERT_GE(fd, 0);
   char text[8] = {};
   EXPECT_EQ(ops_->readFd(fd, text, 4), 4);
   EXPECT_STREQ(text, "data");
   EXPECT_EQ(ops_->closeFd(fd), 0);
}

TEST_F(FsHealthIoOpsTest, MakesFilesThatOthersMayRead) {
   Pelm::String const path{(folder_.path() / "file").string()};
   mode_t const before = umask(0);
   int const fd = ops_->openPath(path, O_WRONLY | O_CREAT);
   umask(before);
   EXPECT_EQ(ops_->closeFd(fd), 0);
   struct stat status {};
   ASSERT_EQ(stat(path.data(), &status), 0);
   EXPECT_EQ(status.st_mode & 0777U, 0644U);
}

TEST_F(FsHealthIoOpsTest, CountsBlocksReservedForTheSuperuserNeitherUsedNorFree) {
   Support::TraceRecorder const traces{{"StorageFsHealthSm", 7}};
   statvfsAnswer.emplace();
   statvfsAnswer->f_blocks = 1000;
   statvfsAnswer->f_bfree = 300;
   statvfsAnswer->f_bavail = 250;
   int const percent = ops_->getUtilPercent("/mnt/drive");
   statvfsAnswer.reset();
   EXPECT_EQ(percent, 73) << "700 of 950";
   EXPECT_EQ(traces.texts(7), Texts{"getUtilPercent blks: 1000 free-blks: 300 blks-avail: 250"});
}

TEST_F(FsHealthIoOpsTest, ComputesTheExactUseWhateverTheSize) {
   struct Size {
      fsblkcnt_t blocks, free, available;
      int percent;
   };
   constexpr fsblkcnt_t tebibyte = fsblkcnt_t{1} << 28;  // blocks of 4 KiB
   constexpr fsblkcnt_t most = fsblkcnt_t{1} << 60;
   for (Size const & size :
        {Size{tebibyte, tebibyte / 4, tebibyte / 4, 75}, Size{tebibyte, 1, 1, 99}, Size{tebibyte, 0, 0, 100},
         Size{100 * tebibyte, 14 * tebibyte, 14 * tebibyte, 86}, Size{most, most / 2, most / 2, 50},
         Size{most, most, most, 0}, Size{most, 0, 0, 100},
         Size{UINT64_MAX, UINT64_MAX / 4, UINT64_MAX / 4, 75}, Size{10, 11, 11, -1},
         Size{UINT64_MAX, 0, UINT64_MAX, -1}}) {
      statvfsAnswer.emplace();
      statvfsAnswer->f_blocks = size.blocks;
      statvfsAnswer->f_bfree = size.free;
      statvfsAnswer->f_bavail = size.available;
      int const percent = ops_->getUtilPercent("/mnt/drive");
      statvfsAnswer.reset();
      EXPECT_EQ(percent, size.percent) << size.blocks << " blocks, " << size.free << " free";
   }
}

TEST_F(FsHealthIoOpsTest, AnswersAnInjectedResultAndTouchesNothing) {
   ops_->openRetIs(77);
   ops_->openErrnoIs(EIO);
   Pelm::String const path{(folder_.path() / "file").string()};
   EXPECT_EQ(ops_->openPath(path, O_RDWR | O_CREAT), 77);
   EXPECT_EQ(errno, EIO);
   EXPECT_FALSE(std::filesystem::exists(path.str()));
   EXPECT_EQ(ops_->openCookie(Pelm::String{folder_.string()}, O_RDWR | O_CREAT), 77);
   EXPECT_EQ(errno, EIO);
   EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
   ops_->lseekRetIs(-3);
   ops_->readRetIs(-4);
   ops_->writeRetIs(-5);
   ops_->fsyncRetIs(-6);
   ops_->closeRetIs(-7);
   ops_->utilChkRetIs(90);
   ops_->closeErrnoIs(EBUSY);
   EXPECT_EQ(ops_->lseekFd(-1, 0, SEEK_SET), -3);
   EXPECT_EQ(errno, 0);
   EXPECT_EQ(ops_->readFd(-1, nullptr, 1), -4);
   EXPECT_EQ(ops_->writeFd(-1, nullptr, 1), -5);
   EXPECT_EQ(ops_->fsyncFd(-1), -6);
   EXPECT_EQ(ops_->closeFd(-1), -7);
   EXPECT_EQ(errno, EBUSY);
   EXPECT_EQ(ops_->getUtilPercent("/nowhere"), 90);
}

}  // namespace

}  // namespace StorageDevices
