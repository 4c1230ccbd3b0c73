#include "agent/kernel/ClockWatch.h"

#include <gtest/gtest.h>

#include "StorageDevices/Factories.h"
#include "StorageDevices/SdErrWatcherSm.h"
#include "tests/support/DiskFields.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/TempDir.h"
#include "tests/support/Units.h"
#include "tests/support/VirtualTimeTest.h"

namespace Agent {

namespace {

class ClockWatchTest : public Support::VirtualTimeTest {
 protected:
   ClockWatchTest() {
      Support::DiskFields{}.writeTo(*devices);
      watcher = StorageDevices::storageDeviceErrWatcherSmFactory(
          info, devices, Pelm::String{folder.string() + "/kernelmessages"});
   }

   // How many messages an error gives.
   std::size_t error() {
      logs.clear();
      watcher->processKernelMsg("kernel: [1.2] ata2: hard resetting link");
      return logs.messages().size();
   }
   Vorn::Seconds timestamp() const { return info->fsList("KS0001")->syslogTimestamp(); }

   Support::TempDir folder;
   Support::LogRecorder logs;
   Pelm::Ptr<StorageDevicesInfo> info = Pelm::make<StorageDevicesInfo>();
   Pelm::Ptr<StorageDevices::ConnectedDevices> devices = Pelm::make<StorageDevices::ConnectedDevices>();
   Pelm::Ptr<StorageDevices::StorageDeviceErrWatcherSm> watcher;
   ClockWatch clockWatch{info};
};

TEST_F(ClockWatchTest, RestoresReportsOfADiskAfterAClockWasSetBack) {
   ASSERT_EQ(error(), 1U);
   wallClockJumpsBy(-30 * day);
   EXPECT_EQ(error(), 0U) << "it has not been noticed yet";
   Vorn::Host::runFor(61);
   EXPECT_EQ(timestamp(), 0);
   EXPECT_EQ(error(), 1U);
   Vorn::Host::runFor(day);
   EXPECT_EQ(error(), 0U) << "once a day by the clock as it is now";
}

TEST_F(ClockWatchTest, IsActiveAsLongAsItLives) {
   Vorn::Host::runFor(600);
   ASSERT_EQ(error(), 1U);
   wallClockJumpsBy(-30 * day);
   Vorn::Host::runFor(61);
   EXPECT_EQ(timestamp(), 0);
}

TEST_F(ClockWatchTest, DetectsASetBackShorterThanTheTimeSinceItsLastSample) {
   Vorn::Host::runFor(50);
   ASSERT_EQ(error(), 1U);
   wallClockJumpsBy(-30);
   Vorn::Host::runFor(11);
   EXPECT_EQ(timestamp(), 0);
}

TEST_F(ClockWatchTest, ClearsAFutureTimeOnDemand) {
   ASSERT_EQ(error(), 1U);
   wallClockJumpsBy(-30 * day);
   clockWatch.check();
   EXPECT_EQ(error(), 1U);
}

TEST_F(ClockWatchTest, KeepsTimesBeforeTheCurrentTime) {
   ASSERT_EQ(error(), 1U);
   Vorn::Seconds const logged = timestamp();
   Vorn::Host::runFor(3 * 3600);
   wallClockJumpsBy(-3600);
   Vorn::Host::runFor(61);
   EXPECT_EQ(timestamp(), logged);
   EXPECT_EQ(error(), 0U);
}

TEST_F(ClockWatchTest, IgnoresSmallCorrections) {
   ASSERT_EQ(error(), 1U);
   Vorn::Seconds const logged = timestamp();
   for (int i = 0; i < 100; ++i) {
      wallClockJumpsBy(-0.5);
      clockWatch.check();
   }
   EXPECT_EQ(timestamp(), logged);
}

TEST_F(ClockWatchTest, IgnoresAClockSetForwardOrASuspension) {
   ASSERT_EQ(error(), 1U);
   Vorn::Seconds const logged = timestamp();
   wallClockJumpsBy(100);
   Vorn::Host::runFor(61);
   time->jumpBy(1000);
   Vorn::Host::runFor(61);
   EXPECT_EQ(timestamp(), logged);
}

}  // namespace

}  // namespace Agent
