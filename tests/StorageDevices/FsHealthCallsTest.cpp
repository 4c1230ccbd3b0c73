// Which call, and for which mount point, a host sees while the test of a file system makes it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "StorageDevices/Factories.h"
#include "StorageDevices/FsHealthSm.h"
#include "runtime/host/Activity.h"
#include "tests/support/FileCalls.h"
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
// What the next makings of a folder fail with; 0: they do not.
int mkdirError = 0;

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
   return syscall(SYS_lseek, fd, offset, whence);
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
   return static_cast<int>(syscall(SYS_unlinkat, folder, path, flags));
}

int mkdir(char const * path, mode_t mode) noexcept {
   seen("mkdir");
   if (mkdirError != 0) {
      errno = mkdirError;
      return -1;
   }
   return static_cast<int>(syscall(SYS_mkdirat, AT_FDCWD, path, mode));
}

}  // extern "C"

namespace StorageDevices {
namespace {

class FsHealthCallsTest : public Support::VirtualTimeTest {
 protected:
   FsHealthCallsTest() { Vorn::Host::runFor(0); }
   ~FsHealthCallsTest() override { seenCalls = nullptr; }

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
   mkdirError = EAGAIN;
   machine->start();
   mkdirError = 0;
   EXPECT_EQ(machine->eagainErrorCount(), 1U);
   EXPECT_EQ(machine->nonSyslogErrorCount(), 0U);
   EXPECT_FALSE(machine->syslogTriggered());
   EXPECT_EQ(machine->state(), FsHealthSmState{FsHealthSmState::idle});
   Vorn::Host::runFor(301);
   EXPECT_EQ(machine->state(), FsHealthSmState{FsHealthSmState::writeTest});
}

TEST_F(FsHealthCallsTest, LeavesNothingToWatchAfterAGoodTest) {
   Support::TraceRecorder const traces{{"VornPoller", 0}};
   machine->start();
   Vorn::Host::runFor(3600);
   EXPECT_EQ(traces.errors(), std::vector<std::string>{});
}

}  // namespace
}  // namespace StorageDevices
