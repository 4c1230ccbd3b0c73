// Which call, and for which mount point, a host sees while the test of a file system makes it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include "StorageDevices/Factories.h"
#include "StorageDevices/FsHealthSm.h"
#include "runtime/host/Activity.h"
#include "tests/support/FileCalls.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/MountPoint.h"
#include "tests/support/TraceRecorder.h"
#include "tests/support/Units.h"
#include "tests/support/VirtualTimeTest.h"

namespace {

// "fsync: fsync of /mnt/drive", as they were made.
std::vector<std::string> * seenCalls = nullptr;
// Offset and origin of each seek, and each buffer that a block went from or to, while calls are seen.
std::vector<std::pair<off_t, int>> seeks;
std::vector<void const *> buffers;
// What the next makings of a folder, and the next deletions of a file, fail with; 0: they do not.
int mkdirError = 0;
int unlinkError = 0;

int refuse(int error) {
   errno = error;
   return -1;
}

void seen(char const * call) {
   Vorn::Host::Activity const activity = Vorn::Host::activity();
   if (seenCalls)
      seenCalls->push_back(std::string{call} + ": " + (activity.operation ? activity.operation : "nothing") +
                           " of " + std::string{activity.path()});
}

}  // namespace

// In the place of the C library's for this program.
extern "C" {

int fsync(int fd) {
   seen("fsync");
   return static_cast<int>(syscall(SYS_fsync, fd));
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
   seen("lseek");
   if (seenCalls)
      seeks.emplace_back(offset, whence);
   return syscall(SYS_lseek, fd, static_cast<long>(offset), whence);
}

ssize_t write(int fd, void const * buffer, std::size_t size) {
   if (seenCalls && size == blockSize)
      buffers.push_back(buffer);
   return syscall(SYS_write, fd, buffer, size);
}

ssize_t read(int fd, void * buffer, std::size_t size) {
   if (Support::readFails())
      return -1;
   if (seenCalls && size == blockSize)
      buffers.push_back(buffer);
   return syscall(SYS_read, fd, buffer, size);
}

int unlinkat(int folder, char const * path, int flags) noexcept {
   seen("unlink");
   if (unlinkError != 0)
      return refuse(unlinkError);
   return static_cast<int>(syscall(SYS_unlinkat, folder, path, flags));
}

int mkdir(char const * path, mode_t mode) noexcept {
   seen("mkdir");
   if (mkdirError != 0)
      return refuse(mkdirError);
   return static_cast<int>(syscall(SYS_mkdirat, AT_FDCWD, path, mode));
}

}  // extern "C"

namespace StorageDevices {
namespace {

namespace fs = std::filesystem;

class FsHealthCallsTest : public Support::VirtualTimeTest {
 protected:
   FsHealthCallsTest() { Vorn::Host::runFor(0); }
   ~FsHealthCallsTest() override { seenCalls = nullptr; }

   // One setup in which a call fails with that error.
   void setUpWith(int & call, int error) {
      call = error;
      machine->start();
      call = 0;
   }
   double nextTest() const { return (machine->testClock()->timeMin() - Vorn::System::currentTime()).value(); }

   Support::TempDir folder{Support::folderWithDirectIo()};
   std::string mountPoint = folder.string();
   Pelm::Ptr<FsHealthSm> machine =
       fsHealthSmFactory(mountPoint.c_str(), blockSize, Pelm::make<ConnectedDevices>());
};

TEST_F(FsHealthCallsTest, NamesABlockingCallWithItsMountPoint) {
   std::vector<std::string> calls;
   seenCalls = &calls;
   machine->start();
   Vorn::Host::runFor(601);
   seenCalls = nullptr;
   ASSERT_TRUE(machine->readTestOk());
   std::vector<std::string> expected;
   for (char const * const call : {"mkdir", "unlink", "lseek", "fsync", "lseek"})
      expected.push_back(std::string{call}.append(": ").append(call).append(" of ").append(mountPoint));
   EXPECT_EQ(calls, expected);
   EXPECT_EQ(Vorn::Host::activity().operation, nullptr);
}

TEST_F(FsHealthCallsTest, SeeksFromTheStartAndPassesOnlyItsAlignedBlock) {
   std::vector<std::string> calls;
   seeks.clear();
   buffers.clear();
   seenCalls = &calls;
   machine->start();
   Vorn::Host::runFor(601);
   seenCalls = nullptr;
   ASSERT_TRUE(machine->readTestOk());
   EXPECT_EQ(seeks, (std::vector<std::pair<off_t, int>>{{0, SEEK_SET}, {0, SEEK_SET}}));
   EXPECT_EQ(buffers, std::vector<void const *>(2, machine->alignedBlock()));
}

TEST_F(FsHealthCallsTest, NamesTheSamplingOfTheUseAsABlockingCall) {
   std::vector<std::string> calls;
   Vorn::Host::traceLevelIs("StorageFsHealthSm", 7);
   Vorn::Host::traceSinkIs([&](Vorn::Host::TraceLine const & line) {
      Vorn::Host::Activity const activity = Vorn::Host::activity();
      if (line.function == "getUtilPercent")
         calls.push_back(std::string{activity.operation} + " of " + std::string{activity.path()});
   });
   Vorn::Host::runFor(121);
   Vorn::Host::traceSinkIs(nullptr);
   Vorn::Host::traceLevelIs("StorageFsHealthSm", 0);
   EXPECT_EQ(calls, std::vector<std::string>{"statvfs of " + mountPoint});
}

TEST_F(FsHealthCallsTest, CountsASetupThatSaysAgainAndRepeatsItAtTheNextTest) {
   for (int * const call : {&mkdirError, &unlinkError}) {
      fs::remove_all(folder.path() / "debug");
      auto const before = machine->eagainErrorCount();
      setUpWith(*call, EAGAIN);
      EXPECT_EQ(machine->eagainErrorCount(), before + 1);
      EXPECT_EQ(machine->state(), FsHealthSmState{FsHealthSmState::idle});
      Vorn::Host::runFor(301);
      EXPECT_EQ(machine->state(), FsHealthSmState{FsHealthSmState::writeTest});
      machine->stop();
   }
   EXPECT_EQ(machine->nonSyslogErrorCount(), 0U);
   EXPECT_FALSE(machine->syslogTriggered());
}

TEST_F(FsHealthCallsTest, LogsAMediumErrorOfTheDeletionInSetupAndPausesForADay) {
   for (int const error : {EPERM, EIO, EACCES, EBUSY, ENOSPC, EDQUOT}) {
      Support::LogRecorder const logs;
      setUpWith(unlinkError, error);
      ASSERT_EQ(logs.messages().size(), 1U) << error;
      EXPECT_EQ(logs.messages()[0].arguments[0], "setupTest - unlink");
      EXPECT_EQ(logs.messages()[0].arguments[5], std::strerror(error));
      EXPECT_TRUE(machine->syslogTriggered());
      EXPECT_EQ(machine->state(), FsHealthSmState{FsHealthSmState::idle});
      EXPECT_EQ(nextTest(), day);
   }
}

TEST_F(FsHealthCallsTest, TracesAReadOnlyFileSystemInSetupAndTestsAgainSoon) {
   Support::LogRecorder const logs;
   Support::TraceRecorder const traces{{"StorageFsHealthSm", 0}};
   setUpWith(mkdirError, EROFS);
   EXPECT_EQ(traces.errors(),
             std::vector<std::string>{"setupTest - mkdir failed with Read-only file system"});
   EXPECT_EQ(machine->nonSyslogErrorCount(), 1U);
   EXPECT_TRUE(logs.messages().empty());
   EXPECT_EQ(machine->state(), FsHealthSmState{FsHealthSmState::idle});
   EXPECT_EQ(nextTest(), 300);
}

TEST_F(FsHealthCallsTest, LeavesNothingToWatchAfterAGoodTest) {
   Support::TraceRecorder const traces{{"VornPoller", 0}};
   machine->start();
   Vorn::Host::runFor(3600);
   EXPECT_EQ(traces.errors(), std::vector<std::string>{});
}

}  // namespace
}  // namespace StorageDevices
