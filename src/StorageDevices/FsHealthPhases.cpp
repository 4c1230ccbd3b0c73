// The two phases of the file system health test: writing and reading back.
#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include "StorageDevices/FsHealthSm.h"
#include "StorageDevices/FsHealthTrace.h"
#include "runtime/model/MountTable.h"

namespace StorageDevices {

void FsHealthSm::setupWriteTest() {
   int const fd = openCookie(O_WRONLY | O_CREAT | O_NONBLOCK | O_DIRECT);
   if (fd >= 0)
      awaitReady(fd, Direction::writable);
   else
      handleAndLogError("writeTest - open");
}

void FsHealthSm::setupReadTest() {
   int const fd = openCookie(O_RDONLY | O_NONBLOCK | O_DIRECT);
   if (fd >= 0)
      awaitReady(fd, Direction::readable);
   else
      handleAndLogError("readTest - open");
}

int FsHealthSm::openCookie(int flags) {
   return published("open", [&] { return ioOps_->openCookie(Mounts::accessPath(mntPt_), flags); });
}

void FsHealthSm::awaitReady(int fd, Direction direction) {
   auto const course = course_;
   fsHealthSmFd_->descriptorIs(fd);
   if (course != course_)
      return;
   if (direction == Direction::writable)
      fsHealthSmFd_->notifyOnWritableIs(true);
   else
      fsHealthSmFd_->notifyOnReadableIs(true);
   if (course == course_)
      armTestClock(hungDelay());
}

void FsHealthSm::doWriteTest() {
   if (!initialized())
      return;
   VORN_TRACE(fsHealthTraceHandle, 7) << "doWriteTest"
                                      << " has writableCount: " << fsHealthSmFd_->writableCount();
   int const fd = fsHealthSmFd_->descriptor();
   if (published("lseek", [&] { return ioOps_->lseekFd(fd, 0, SEEK_SET); }) < 0) {
      handleAndLogError("writeTest - lseek");
      return;
   }
   std::memcpy(alignedBlock_.get(), cookieData().data(), blkSize_);
   std::int64_t const written =
       published("write", [&] { return ioOps_->writeFd(fd, alignedBlock_.get(), blkSize_); });
   if (written < 0) {
      handleAndLogError("writeTest - write");
      return;
   }
   if (written < blkSize_)
      VORN_TRACE(fsHealthTraceHandle, 0) << "doWriteTest"
                                         << " not all data was written";
   if (published("fsync", [&] { return ioOps_->fsyncFd(fd); }) < 0) {
      handleAndLogError("writeTest - fsync");
      return;
   }
   if (!closeAfter("writeTest - close"))
      return;
   auto const course = course_;
   writeTestOk.valueIs(true);
   if (course == course_)
      stateIs(FsHealthSmState::readTest);
}

void FsHealthSm::doReadTest() {
   if (!initialized())
      return;
   VORN_TRACE(fsHealthTraceHandle, 7) << "doReadTest"
                                      << " has readable: " << fsHealthSmFd_->readableCount();
   int const fd = fsHealthSmFd_->descriptor();
   if (published("lseek", [&] { return ioOps_->lseekFd(fd, 0, SEEK_SET); }) == -1) {
      handleAndLogError("readTest - lseek");
      return;
   }
   // The written text must not pass for the read one.
   std::memset(alignedBlock_.get(), 0, blkSize_);
   if (published("read", [&] { return ioOps_->readFd(fd, alignedBlock_.get(), blkSize_); }) < 0) {
      handleAndLogError("readTest - read");
      return;
   }
   auto const course = course_;
   if (std::strncmp(cookieData().data(), alignedBlock_.get(), blkSize_) != 0)
      emitSyslog("readTest - read", "data doesn't match");
   if (course != course_ || !closeAfter("readTest - close"))
      return;
   readTestOk.valueIs(true);
   if (course == course_)
      goIdle();
}

// Closes the file of a completed phase; false when that failed or the test was stopped.
bool FsHealthSm::closeAfter(char const * opName) {
   if (published("close", [&] { return ioOps_->closeFd(fsHealthSmFd_->descriptor()); }) < 0) {
      handleAndLogError(opName);
      return false;
   }
   auto const course = course_;
   watchNothing();
   return course == course_;
}

}  // namespace StorageDevices
