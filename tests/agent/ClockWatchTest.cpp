#include "agent/ClockWatch.h"

#include <gtest/gtest.h>

#include "StorageDevices/Factories.h"
#include "StorageDevices/SdErrWatcherSm.h"
#include "tests/support/DiskFields.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/TempDir.h"
#include "tests/support/VirtualTimeTest.h"

namespace Agent {

namespace {

constexpr double day = 86400;

class ClockWatchTest : public Support::VirtualTimeTest {
 protected:
   ClockWatchTest() {
      Support::DiskFields{}.writeTo(*devices);
      watcher = StorageDevices::storageDeviceErrWatcherSmFactory(
          info, devices, Pelm::String{folder.string() + "/kernelmessages"});
   }

   // The wall clock is set; framework time goes on as it was.
   void setBy(double span) {
      auto source = std::make_unique<Host::VirtualTime>(Vorn::System::currentTime(),
                                                        Vorn::System::currentTimeUtc() + Vorn::Seconds{span});
      time = source.get();
      Host::timeSourceIs(std::move(source));
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

TEST_F(ClockWatchTest, ADiskIsNotSilencedByAClockThatWasSetBack) {
   ASSERT_EQ(error(), 1U);
   setBy(-30 * day);
   EXPECT_EQ(error(), 0U) << "it has not been noticed yet";
   Host::runFor(61);
   EXPECT_EQ(timestamp(), 0);
   EXPECT_EQ(error(), 1U);
   Host::runFor(day);
   EXPECT_EQ(error(), 0U) << "once a day by the clock as it is now";
}

TEST_F(ClockWatchTest, AMessageCanBeForestalled) {
   ASSERT_EQ(error(), 1U);
   setBy(-30 * day);
   clockWatch.check();
   EXPECT_EQ(error(), 1U);
}

TEST_F(ClockWatchTest, WhatWasLoggedBeforeTheTimeThatItIsNowStays) {
   ASSERT_EQ(error(), 1U);
   Vorn::Seconds const logged = timestamp();
   Host::runFor(3 * 3600);
   setBy(-3600);
   Host::runFor(61);
   EXPECT_EQ(timestamp(), logged);
   EXPECT_EQ(error(), 0U);
}

TEST_F(ClockWatchTest, CorrectionsChangeNothing) {
   ASSERT_EQ(error(), 1U);
   Vorn::Seconds const logged = timestamp();
   for (int i = 0; i < 100; ++i) {
      setBy(-0.5);
      clockWatch.check();
   }
   EXPECT_EQ(timestamp(), logged);
}

TEST_F(ClockWatchTest, AClockSetForwardOrASuspensionChangesNothing) {
   ASSERT_EQ(error(), 1U);
   Vorn::Seconds const logged = timestamp();
   setBy(100);
   Host::runFor(61);
   time->jumpBy(1000);
   Host::runFor(61);
   EXPECT_EQ(timestamp(), logged);
}

}  // namespace

}  // namespace Agent
