// The health test of a file system where something that it calls raises, as a log sink without memory does.
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <new>

#include "StorageDevices/Factories.h"
#include "StorageDevices/FsHealthSm.h"
#include "tests/support/DiskFields.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/MountPoint.h"
#include "tests/support/TempDir.h"
#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {
namespace {

class FsHealthRaisesTest : public Support::VirtualTimeTest {
 protected:
   FsHealthRaisesTest() {
      Support::DiskFields{.name = "S1", .mountPoint = folder_.string()}.writeTo(*devices_);
   }

   Support::TempDir folder_{Support::folderWithDirectIo()};
   Support::LogRecorder logs_;
   Pelm::Ptr<ConnectedDevices> devices_ = Pelm::make<ConnectedDevices>();
   Pelm::Ptr<FsHealthSm> machine_ = fsHealthSmFactory(folder_.string().c_str(), 4096, devices_);
};

TEST_F(FsHealthRaisesTest, TestsAgainAfterASetUpThatRaised) {
   std::filesystem::remove_all(folder_.path());
   logs_.raises = true;
   EXPECT_THROW(machine_->start(), std::bad_alloc);
   std::filesystem::create_directory(folder_.path());
   EXPECT_EQ(machine_->state(), FsHealthSmState::idle);
   Vorn::Host::runFor(machine_->testDelay().value() + 1);
   EXPECT_EQ(machine_->state(), FsHealthSmState::writeTest);
}

TEST_F(FsHealthRaisesTest, LogsAFailureThatItCouldNotLogBefore) {
   machine_->ioOps()->openRetIs(-1);
   machine_->ioOps()->openErrnoIs(EIO);
   machine_->start();
   logs_.raises = true;
   Vorn::Host::runFor(machine_->testDelay().value() + 1);
   EXPECT_EQ(machine_->state(), FsHealthSmState::writeTest);
   logs_.raises = false;
   Vorn::Host::runFor(Vorn::Clock::NotifieeConst::retrySpan);
   EXPECT_EQ(logs_.messages().size(), 1U);
   EXPECT_EQ(machine_->state(), FsHealthSmState::idle);
   EXPECT_TRUE(machine_->syslogTriggered());
}

TEST_F(FsHealthRaisesTest, DoesNothingBeforeItIsInitialised) {
   auto const raw = Pelm::make<FsHealthSm>(folder_.string().c_str(), 4096U, devices_);
   raw->start();
   raw->stateIs(FsHealthSmState::setup);
   raw->stop();
   EXPECT_FALSE(raw->running());
   EXPECT_EQ(raw->state(), FsHealthSmState::idle);
}

}  // namespace
}  // namespace StorageDevices
