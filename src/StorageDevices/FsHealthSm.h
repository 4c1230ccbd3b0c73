// Tests periodically that a mounted file system stores data. It writes a block of random text to a file of
// its own, syncs it, reads it back and compares, all with direct I/O. Every two minutes it also checks the
// used space.
//
// Inputs: the mount point and its block size; `start` and `stop`. Outputs: MONITOR_ERROR and
// MONITOR_WARNING. The calls are made in the handlers themselves. On a failing disk they block the loop, and
// each is named to the host's watchdog (host/Activity.h). It accesses only "debug/healthTestCookie" below the
// mount point, and no other kind of file in its place.
//
// States:
//    idle                 waiting for the next test
//    setup                preparing the file, or waiting for a restart if there is no mount point
//    writeTest, readTest  waiting for their time or for the file to be ready
//    cleanup              closing the file, or stopped
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>

#include "StorageDevices/ConnectedDevices.h"
#include "StorageDevices/Export.h"
#include "StorageDevices/FsHealthIoOps.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/BlockingCall.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/EnumType.h"
#include "runtime/Vorn/FileDescriptor.h"
#include "runtime/Vorn/Notifiee.h"

namespace StorageDevices {

class STORAGEDEVICES_API FsHealthSmState : public Vorn::EnumType<unsigned char, FsHealthSmState> {
 public:
   enum Value : unsigned char { idle = 0, setup = 1, writeTest = 2, readTest = 3, cleanup = 4 };
   static constexpr Vorn::EnumName<unsigned char> names[] = {{idle, "idle"},
                                                             {setup, "setup"},
                                                             {writeTest, "writeTest"},
                                                             {readTest, "readTest"},
                                                             {cleanup, "cleanup"}};
   using EnumType::EnumType;
};

class STORAGEDEVICES_API FsHealthSm final : public Pelm::Node {
 public:
   // `blkSize`: bytes of a block of the device, a power of two, 8 or more. Any other value aborts the
   // process.
   FsHealthSm(Pelm::String mntPt, std::uint32_t blkSize, Pelm::Ptr<ConnectedDevices const> devices);
   ~FsHealthSm() override;

   template <class T>
   using Attribute = Vorn::Attribute<T, FsHealthSm>;

   Pelm::String const & mntPt() const { return mntPt_; }
   std::uint32_t blkSize() const { return blkSize_; }
   Pelm::Ptr<ConnectedDevices const> const & devices() const { return devices_; }
   Pelm::Ptr<FsHealthIoOps> const & ioOps() const { return ioOps_; }
   // The buffer of writes and reads: `blkSize` bytes, aligned to `blkSize`.
   char const * alignedBlock() const { return alignedBlock_.get(); }
   // Watches the file of a phase; -1 between them.
   Pelm::Ptr<Vorn::FileDescriptor const> fsHealthSmFd() const { return fsHealthSmFd_; }
   // Null before `initialized`. Infinity: never.
   Vorn::Clock::NotifieeConst const * testClock() const { return testClock_ ? &*testClock_ : nullptr; }
   Vorn::Clock::NotifieeConst const * utilChkClock() const {
      return utilChkClock_ ? &*utilChkClock_ : nullptr;
   }

   // The file of the current test and its text, `blkSize` random characters; empty before the first test.
   Attribute<Pelm::String> cookieFilePath{*this, "cookieFilePath"};
   Attribute<Pelm::String> cookieData{*this, "cookieData"};

   // Whether a failure of the current test was logged.
   Attribute<bool> syslogTriggered{*this, "syslogTriggered", false};
   // Since the start: failures that were only traced, and operations that answered EAGAIN.
   Attribute<std::uint64_t> nonSyslogErrorCount{*this, "nonSyslogErrorCount", 0};
   Attribute<std::uint64_t> eagainErrorCount{*this, "eagainErrorCount", 0};
   // Whether the phase of the current test has succeeded.
   Attribute<bool> writeTestOk{*this, "writeTestOk", false};
   Attribute<bool> readTestOk{*this, "readTestOk", false};
   // Whether the warning was logged and the use has not fallen since.
   Attribute<bool> utilThresholdExceeded{*this, "utilThresholdExceeded", false};

   // Percent of use above which the warning is logged, once until the use falls to it. The message's text
   // says 85, whatever stands here.
   Attribute<std::uint32_t> highUtilThreshold{*this, "highUtilThreshold", 85};
   void highUtilThresholdIs(std::uint32_t value) { highUtilThreshold.valueIs(value); }
   // From a test whose failure was logged to the next; a day. All delays are framework time.
   Attribute<Vorn::Seconds> pauseDelay{*this, "pauseDelay", 86400};
   void pauseDelayIs(Vorn::Seconds value) { pauseDelay.valueIs(value); }
   // From any other test to the next, and before each phase; five minutes.
   Attribute<Vorn::Seconds> testDelay{*this, "testDelay", 300};
   void testDelayIs(Vorn::Seconds value) { testDelay.valueIs(value); }
   // Within which the opened file must become ready, else it is an error; five minutes.
   Attribute<Vorn::Seconds> hungDelay{*this, "hungDelay", 300};
   void hungDelayIs(Vorn::Seconds value) { hungDelay.valueIs(value); }
   // Between two checks of the used space; two minutes.
   Attribute<Vorn::Seconds> utilChkDelay{*this, "utilChkDelay", 120};
   void utilChkDelayIs(Vorn::Seconds value) { utilChkDelay.valueIs(value); }

   Attribute<FsHealthSmState> state{*this, "state", FsHealthSmState::idle};
   // Enters a state and runs its entry action. Does nothing if the machine is in that state.
   void stateIs(FsHealthSmState value);
   // Whether `start` was called, and `stop` not since.
   Attribute<bool> running{*this, "running", false};
   Attribute<bool> initialized{*this, "initialized", false};

   // Both may be called from anywhere, from the machine's own notifications too. They end any activity in
   // progress. `start` prepares the first test at once. Before `initialized` they do nothing.
   void start();
   void stop();

   void handleInitialized();
   void handleTestClock();
   // Checks the used space; runs while the machine exists, stopped or not.
   void doUtilChk();
   void doWriteTest();
   void doReadTest();
   // Ends the current test too.
   void vornDoZombieReactors(bool zombie) override;

 private:
   enum class Direction { readable, writable };

   void handleState();
   void handleSetupState();
   void setUpOrCleanUp();
   bool prepareFile();
   void handleCleanupState();
   void genRandomCookieData();
   void setupWriteTest();
   void setupReadTest();
   int openCookie(int flags);
   void awaitReady(int fd, Direction direction);
   void watchNothing();
   void closeHeldFd();
   bool closeAfter(char const * opName);
   void goIdle();
   void handleAndLogError(char const * opName);
   void failLogged(char const * opName, char const * errorMsg);
   void tryAgain();
   void emitSyslog(char const * opName, char const * errorMsg) const;
   void armTestClock(Vorn::Seconds delay);

   // Makes a call that may stall on a failing disk, and publishes it for a watchdog of the loop.
   template <class Call>
   auto published(char const * operation, Call const & call) const {
      Vorn::BlockingCall const crumb{operation, mntPt_.view()};
      return call();
   }

   struct Free {
      void operator()(char * block) const { std::free(block); }
   };

   Pelm::String mntPt_;
   std::uint32_t blkSize_;
   Pelm::Ptr<ConnectedDevices const> devices_;
   // Changes with every change of state and when the last user goes. A handler that finds it changed after a
   // notification must return.
   std::uint64_t course_ = 0;
   Pelm::Ptr<FsHealthIoOps> ioOps_;
   std::unique_ptr<char, Free> alignedBlock_;
   Pelm::Ptr<Vorn::FileDescriptor> fsHealthSmFd_;
   std::optional<Vorn::Clock::Notifiee<&FsHealthSm::handleTestClock>> testClock_;
   std::optional<Vorn::Clock::Notifiee<&FsHealthSm::doUtilChk>> utilChkClock_;
   Vorn::NotifieeConst fdReactor_;
};

}  // namespace StorageDevices
