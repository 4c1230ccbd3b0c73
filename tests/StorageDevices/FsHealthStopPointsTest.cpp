// Stopped, started or released at one certain change, the health test does nothing of what it was about to
// do.
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <functional>

#include "StorageDevices/Factories.h"
#include "StorageDevices/FsHealthSm.h"
#include "tests/support/ChangeRecorder.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/MountPoint.h"
#include "tests/support/VirtualTimeTest.h"
#include "tests/support/WhenChanged.h"

namespace StorageDevices {

namespace {

namespace fs = std::filesystem;

using State = FsHealthSmState;
using Support::WhenChanged;

class FsHealthStopPointsTest : public Support::VirtualTimeTest {
 protected:
   fs::path debug() const { return folder_.path() / "debug"; }

   Support::TempDir folder_{Support::folderWithDirectIo()};
   Support::LogRecorder logs_;
   Pelm::Ptr<FsHealthSm> machine_ =
       fsHealthSmFactory(folder_.string().c_str(), 4096, Pelm::make<ConnectedDevices>());
   std::function<void()> const stop_ = [this] { machine_->stop(); };
   std::function<void()> const start_ = [this] { machine_->start(); };
   std::function<void()> const letGo_ = [this] { machine_ = nullptr; };
};

TEST_F(FsHealthStopPointsTest, EntersSetupOnceWhenStoppedAndStartedAsItBeginsToRun) {
   WhenChanged const restart{machine_->running, true, [this] {
                                machine_->stop();
                                machine_->start();
                             }};
   Support::ChangeRecorder const texts{machine_->cookieData};
   machine_->start();
   EXPECT_EQ(texts.count(), 1U);
   EXPECT_EQ(machine_->state(), State{State::writeTest});
}

TEST_F(FsHealthStopPointsTest, SkipsCleanupWhenStartedAsItCeasesToRun) {
   machine_->start();
   WhenChanged const start{machine_->running, false, start_};
   machine_->stop();
   EXPECT_TRUE(machine_->running());
   EXPECT_EQ(machine_->state(), State{State::writeTest});
}

TEST_F(FsHealthStopPointsTest, HandlesAStateOnceWhenEnteredWithinAnother) {
   machine_->start();
   fs::remove_all(folder_.path());
   WhenChanged const start{machine_->state, State::cleanup, start_};
   machine_->stop();
   EXPECT_EQ(machine_->state(), State{State::setup});
   EXPECT_EQ(logs_.messages().size(), 1U) << "the mount point is examined once";
}

TEST_F(FsHealthStopPointsTest, TouchesNothingWhenStoppedAsItForgetsAFailure) {
   machine_->ioOps()->readRetIs(-1);
   machine_->ioOps()->readErrnoIs(EIO);
   machine_->start();
   Vorn::Host::runFor(601);
   ASSERT_TRUE(machine_->syslogTriggered());
   fs::remove_all(debug());
   WhenChanged const stop{machine_->syslogTriggered, false, stop_};
   machine_->start();
   EXPECT_EQ(machine_->state(), State{State::cleanup});
   EXPECT_FALSE(fs::exists(debug()));
}

TEST_F(FsHealthStopPointsTest, LeavesTheStaleFileWhenStoppedAsItNamesItsFile) {
   Pelm::String const cookie{(debug() / "healthTestCookie").string()};
   fs::create_directory(debug());
   folder_.write("debug/healthTestCookie", "stale");
   WhenChanged const stop{machine_->cookieFilePath, cookie, stop_};
   machine_->start();
   EXPECT_EQ(machine_->cookieFilePath(), cookie);
   EXPECT_EQ(folder_.content("debug/healthTestCookie"), "stale");
}

TEST_F(FsHealthStopPointsTest, TouchesNothingWhenReleasedAsItBeginsToRun) {
   WhenChanged const letGo{machine_->running, true, letGo_};
   machine_->start();
   EXPECT_FALSE(machine_);
   EXPECT_TRUE(fs::is_empty(folder_.path()));
}

TEST_F(FsHealthStopPointsTest, TouchesNothingWhenReleasedInItsOwnChange) {
   WhenChanged const letGo{machine_->state, State::setup, letGo_};
   machine_->stateIs(State::setup);
   EXPECT_FALSE(machine_);
   EXPECT_TRUE(fs::is_empty(folder_.path()));
}

TEST_F(FsHealthStopPointsTest, EndsWhenReleasedAsItCeasesToRun) {
   machine_->start();
   WhenChanged const letGo{machine_->running, false, letGo_};
   machine_->stop();
   EXPECT_FALSE(machine_);
}

TEST_F(FsHealthStopPointsTest, EndsWhenReleasedAsItWarns) {
   Vorn::Host::logSinkIs([this](Vorn::Host::LogMessage const &) { machine_ = nullptr; });
   machine_->ioOps()->utilChkRetIs(99);
   Vorn::Host::runFor(121);
   EXPECT_FALSE(machine_);
}

}  // namespace

}  // namespace StorageDevices
