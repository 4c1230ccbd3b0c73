#include "StorageDevices/FsHealthSm.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "StorageDevices/CookieFile.h"
#include "StorageDevices/Factories.h"
#include "StorageDevices/FsHealthTrace.h"
#include "StorageDevices/LogMessages.h"
#include "StorageDevices/LoggedDisk.h"
#include "runtime/Vorn/Machine.h"
#include "runtime/model/MountTable.h"

namespace StorageDevices {

Vorn::TraceHandle fsHealthTraceHandle{"StorageFsHealthSm", true};

namespace {

LogMessages fsHealthLogs;

using State = FsHealthSmState;

constexpr char utilChkName[] = "utilChk";

bool isDirectory(Pelm::String const & path) {
   struct stat status {};
   return stat(path.data(), &status) == 0 && S_ISDIR(status.st_mode);
}

// Errors that show a failing medium are logged; all others are only traced.
bool isLogged(int error) {
   for (int const logged : {EPERM, ENOENT, EIO, EACCES, EBUSY, ENOSPC, EDQUOT})
      if (error == logged)
         return true;
   return false;
}

}  // namespace

FsHealthSm::FsHealthSm(Pelm::String mntPt, std::uint32_t blkSize, Pelm::Ptr<ConnectedDevices const> devices)
    : mntPt_{std::move(mntPt)}, blkSize_{blkSize}, devices_{std::move(devices)} {}

FsHealthSm::~FsHealthSm() {
   if (fsHealthSmFd_)
      closeHeldFd();
}

void FsHealthSm::vornDoZombieReactors(bool zombie) {
   ++course_;  // a running handler returns after the last user goes
   Pelm::Node::vornDoZombieReactors(zombie);
}

void FsHealthSm::handleInitialized() {
   ioOps_ = fsHealthIoOpsFactory();
   fsHealthSmFd_ = Pelm::make<Vorn::FileDescriptor>("fsHealthSm");
   fsHealthSmFd_->nonBlockingIs(true);
   fdReactor_.notifierIs(fsHealthSmFd_);
   fdReactor_.on<&FsHealthSm::doReadTest>(fsHealthSmFd_->readableCount, *this);
   fdReactor_.on<&FsHealthSm::doWriteTest>(fsHealthSmFd_->writableCount, *this);
   fdReactor_.hasNotificationActiveIs(true);
   testClock_.emplace(*this, Vorn::Seconds::infinity());
   utilChkClock_.emplace(*this, Vorn::System::currentTime() + utilChkDelay());
   void * block = nullptr;
   if (int const error = posix_memalign(&block, blkSize_, blkSize_); error != 0) {
      VORN_TRACE(fsHealthTraceHandle, 0) << "Failed to allocate memory: " << std::strerror(error);
      std::abort();  // only a caller's error asks for such a block
   }
   alignedBlock_.reset(static_cast<char *>(block));
   initialized.valueIs(true);
   stateIs(State::idle);
}

void FsHealthSm::start() {
   if (!initialized())
      return;
   Pelm::KeepAlive const keepAlive{*this};  // called by hosts, whose subscribers may drop the machine
   auto const course = course_;
   running.valueIs(true);
   if (running() && course == course_)
      stateIs(State::setup);
}

void FsHealthSm::stop() {
   if (!initialized())
      return;
   Pelm::KeepAlive const keepAlive{*this};  // as above
   auto const course = course_;
   running.valueIs(false);
   if (course == course_)
      stateIs(State::cleanup);
}

void FsHealthSm::stateIs(State value) {
   if (!initialized())
      return;
   Pelm::KeepAlive const keepAlive{*this};  // as above
   if (state() == value)
      return;
   auto const course = ++course_;
   state.valueIs(value);
   if (course == course_)
      handleState();
}

void FsHealthSm::handleState() {
   switch (state().value()) {
      case State::idle:
         break;
      case State::setup:
         setUpOrCleanUp();
         break;
      case State::writeTest:
      case State::readTest:
         armTestClock(testDelay());
         break;
      case State::cleanup:
         handleCleanupState();
         break;
   }
}

void FsHealthSm::armTestClock(Vorn::Seconds delay) {
   testClock_->timeMinIs(Vorn::System::currentTime() + delay);
}

// A set-up that raises ends this cycle, and the next one comes.
void FsHealthSm::setUpOrCleanUp() {
   try {
      handleSetupState();
   } catch (...) {
      if (state() == State::setup)
         stateIs(State::cleanup);
      throw;
   }
}

void FsHealthSm::handleSetupState() {
   auto const course = course_;
   testClock_->timeMinIs(Vorn::Seconds::infinity());
   closeHeldFd();
   syslogTriggered.valueIs(false);
   if (course != course_)
      return;
   if (!published("stat", [&] { return isDirectory(Mounts::accessPath(mntPt_)); })) {
      // Stays in this state until it is stopped and started again.
      emitSyslog("setupTest - exists", "not a directory or doesn't exist");
      return;
   }
   if (!prepareFile())
      return;
   VORN_TRACE(fsHealthTraceHandle, 7) << "handleSetupState"
                                      << " " << cookieFilePath();
   genRandomCookieData();
   writeTestOk.valueIs(false);
   readTestOk.valueIs(false);
   if (course == course_)
      stateIs(State::writeTest);
}

// Removes the old file; false when that failed or the test was stopped.
bool FsHealthSm::prepareFile() {
   auto const course = course_;
   Pelm::String const place = Mounts::accessPath(mntPt_);
   if (published("mkdir", [&] { return CookieFile::mkdir(place); }) != 0) {
      handleAndLogError("setupTest - mkdir");
      return false;
   }
   cookieFilePath.valueIs(CookieFile::path(place));
   if (course != course_)
      return false;
   if (published("unlink", [&] { return CookieFile::unlink(place); }) != 0 && errno != ENOENT) {
      handleAndLogError("setupTest - unlink");
      return false;
   }
   return true;
}

void FsHealthSm::genRandomCookieData() {
   constexpr char alphabet[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
   std::string text(blkSize_, '\0');
   for (char & c : text)
      c = alphabet[static_cast<std::size_t>(std::rand()) % (sizeof alphabet - 1)];  // NOLINT: no secret
   cookieData.valueIs(Pelm::String{std::move(text)});
}

void FsHealthSm::handleTestClock() {
   if (!initialized())
      return;
   VORN_TRACE(fsHealthTraceHandle, 7) << "handleTestClock"
                                      << " " << state();
   switch (state().value()) {
      case State::writeTest:
         if (fsHealthSmFd_->notifyOnWritable())
            failLogged("writeTest", "fd is hung");
         else
            setupWriteTest();
         break;
      case State::readTest:
         if (fsHealthSmFd_->notifyOnReadable())
            failLogged("readTest", "fd is hung");
         else
            setupReadTest();
         break;
      case State::idle:
         stateIs(State::setup);
         break;
      case State::setup:
      case State::cleanup:
         VORN_TRACE(fsHealthTraceHandle, 0) << "handleTestClock"
                                            << " unexpected state: " << state();
         stateIs(State::setup);
         break;
   }
}

void FsHealthSm::goIdle() {
   stateIs(State::idle);
   if (state() == State::idle)
      armTestClock(syslogTriggered() ? pauseDelay() : testDelay());
}

void FsHealthSm::handleCleanupState() {
   closeHeldFd();
   if (state() != State::cleanup)
      return;
   if (running())
      goIdle();
   else
      testClock_->timeMinIs(Vorn::Seconds::infinity());
}

void FsHealthSm::closeHeldFd() {
   int const fd = fsHealthSmFd_->descriptor();
   watchNothing();
   if (fd < 0)
      return;
   if (int const result = published("close", [&] { return ioOps_->closeFd(fd); }); result < 0)
      VORN_TRACE(fsHealthTraceHandle, 0) << "handleCleanupState"
                                         << " failed to close fd " << result;
}

// Withdraws the descriptor before it notifies, so that a subscriber finds none to close.
void FsHealthSm::watchNothing() {
   fsHealthSmFd_->descriptorIs(-1);
   fsHealthSmFd_->notifyOnReadableIs(false);
   fsHealthSmFd_->notifyOnWritableIs(false);
}

void FsHealthSm::handleAndLogError(char const * opName) {
   int const error = errno;
   auto const course = course_;
   if (isLogged(error)) {
      failLogged(opName, std::strerror(error));
   } else if (error == EAGAIN) {
      eagainErrorCount.valueIs(eagainErrorCount() + 1);
      if (course == course_)
         tryAgain();
   } else {
      VORN_TRACE(fsHealthTraceHandle, 0) << opName << " failed with " << std::strerror(error);
      nonSyslogErrorCount.valueIs(nonSyslogErrorCount() + 1);
      if (course == course_)
         stateIs(State::cleanup);
   }
}

void FsHealthSm::failLogged(char const * opName, char const * errorMsg) {
   auto const course = course_;
   emitSyslog(opName, errorMsg);
   if (course != course_)
      return;
   syslogTriggered.valueIs(true);
   if (course == course_)
      stateIs(State::cleanup);
}

// A phase that waits for its opened file has the hung timer. A phase that could not open it tries again; in
// setup, the next test is awaited.
void FsHealthSm::tryAgain() {
   if (state() == State::setup)
      stateIs(State::cleanup);
   else if (fsHealthSmFd_->descriptor() < 0)
      armTestClock(hungDelay());
}

void FsHealthSm::emitSyslog(char const * opName, char const * errorMsg) const {
   LoggedDisk const disk{*devices_, mntPt_};
   if (std::strcmp(opName, utilChkName) == 0)
      fsHealthLogs.monitorWarning(disk.name, disk.serial, disk.model, disk.firmware, errorMsg);
   else
      fsHealthLogs.monitorError(opName, disk.name, disk.serial, disk.model, disk.firmware, errorMsg);
}

void FsHealthSm::doUtilChk() {
   if (!initialized())
      return;
   int const percent =
       published("statvfs", [&] { return ioOps_->getUtilPercent(Mounts::accessPath(mntPt_)); });
   if (percent == -1) {
      VORN_TRACE(fsHealthTraceHandle, 7) << "doUtilChk"
                                         << "Failed to get disk utilization for: " << mntPt_;
   } else {
      VORN_TRACE(fsHealthTraceHandle, 7) << "doUtilChk"
                                         << ": Disk Utilization for " << mntPt_ << " " << percent;
      bool const exceeded = percent > static_cast<int>(highUtilThreshold());
      if (exceeded && !utilThresholdExceeded())
         emitSyslog(utilChkName, "has exceeded 85 percent");
      utilThresholdExceeded.valueIs(exceeded);
   }
   utilChkClock_->timeMinIs(Vorn::System::currentTime() + utilChkDelay());
}

Pelm::Ptr<FsHealthSm> fsHealthSmFactory(Pelm::String const & mntPt, unsigned int blkSize,
                                        Pelm::Ptr<ConnectedDevices const> const & devices) {
   return Vorn::makeMachine<FsHealthSm>(mntPt, blkSize, devices);
}

}  // namespace StorageDevices
