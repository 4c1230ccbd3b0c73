#include "StorageDevices/SdErrWatcherSm.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <optional>

#include "tests/StorageDevices/SdErrWatcherSmTest.h"

namespace StorageDevices {

namespace {

TEST_F(SdErrWatcherSmTest, LogsAnErrorOfAFixedDisk) {
   start();
   line("blk_update_request: I/O error, dev sda, sector 2048");
   ASSERT_EQ(logs_.texts(),
             Texts{"/dev/sda (SN:KS0001 Model:Kestrel_S2 Firmware:KF1.2) has read or write errors "
                   "and is unstable."});
   EXPECT_EQ(logs_.messages()[0].name, "STORAGEDEVICE_IO_ERROR");
   EXPECT_EQ(record("KS0001")->syslogTimestamp(), Vorn::System::currentTimeUtc());
}

TEST_F(SdErrWatcherSmTest, LogsAnErrorOfARemovableDiskByItsPort) {
   start();
   line("usb 2-1: USB disconnect, device number 2");
   ASSERT_EQ(logs_.texts(),
             Texts{"USB storage at /dev/sdb (SN:VT01 Model:Stick Firmware:1.0) appears to be faulty."});
   EXPECT_EQ(logs_.messages()[0].name, "STORAGEDEVICE_IO_ERROR_EXTERNAL_USB");
}

TEST_F(SdErrWatcherSmTest, OnlyTracesASecondLineWithinADay) {
   start();
   line("ata2: hard resetting link");
   time->jumpBy(day);
   line("ata2: hard resetting link");
   EXPECT_EQ(logs_.messages().size(), 1U) << "after exactly a day it is too early";
   EXPECT_EQ(traces_.texts(2), Texts{"Syslog for /dev/sda sent 86400 seconds ago."});
   time->jumpBy(1);
   line("ata2: hard resetting link");
   EXPECT_EQ(logs_.messages().size(), 2U);
}

TEST_F(SdErrWatcherSmTest, LogsTheFirstErrorWhateverTheClockSays) {
   for (double const utc : {0.5, 5.0, 86400.0}) {
      auto source = std::make_unique<Vorn::Host::VirtualTime>(Vorn::System::currentTime(), utc);
      Vorn::Host::timeSourceIs(std::move(source));
      info_ = Pelm::make<StorageDevicesInfo>();
      start();
      logs_.clear();
      line("ata2: hard resetting link");
      EXPECT_EQ(logs_.messages().size(), 1U) << utc;
      line("ata2: hard resetting link");
      EXPECT_EQ(logs_.messages().size(), 1U) << utc;
      watcher_ = nullptr;
   }
}

TEST_F(SdErrWatcherSmTest, WaitsAsLongAsItsThresholdSays) {
   start();
   watcher_->syslogThresholdIs(10);
   line("ata2: hard resetting link");
   time->jumpBy(10);
   line("ata2: hard resetting link");
   EXPECT_EQ(logs_.messages().size(), 1U);
   time->jumpBy(1);
   line("ata2: hard resetting link");
   EXPECT_EQ(logs_.messages().size(), 2U);
}

TEST_F(SdErrWatcherSmTest, StoresTheTimeBeforeItLogs) {
   start();
   std::optional<Vorn::Seconds> noted;
   Vorn::Host::logSinkIs(
       [&](Vorn::Host::LogMessage const &) { noted = record("KS0001")->syslogTimestamp(); });
   line("ata2: hard resetting link");
   Vorn::Host::logSinkIs(nullptr);
   EXPECT_EQ(noted, Vorn::System::currentTimeUtc());
}

TEST_F(SdErrWatcherSmTest, NamesTheBlockDeviceOfTheRecordNotOfTheCurrentDisk) {
   start();
   fixedDiskBecomes({.blockDevice = "/dev/sdc"});
   line("blk_update_request: I/O error, dev sdc, sector 1");
   ASSERT_EQ(logs_.messages().size(), 1U);
   EXPECT_EQ(logs_.messages()[0].arguments[0], "/dev/sda");
}

TEST_F(SdErrWatcherSmTest, CountsTheDayOfEveryDeviceByItself) {
   start();
   line("ata2: hard resetting link");
   line("usb 2-1: USB disconnect, device number 2");
   line("usb 2-1: USB disconnect, device number 3");
   EXPECT_EQ(logs_.messages().size(), 2U);
}

TEST_F(SdErrWatcherSmTest, DoesNotTakeAPartitionForADisk) {
   start();
   line("Buffer I/O error on device sdb1, logical block 5");
   EXPECT_TRUE(logs_.messages().empty());
   EXPECT_EQ(traces_.count(7, "regex matched! sdb1"), 1);
}

TEST_F(SdErrWatcherSmTest, MatchesANameThatPassedToAnotherDiskWithTheConnectedOne) {
   start();
   fixedDiskBecomes({.name = "KS0002"});
   line("blk_update_request: I/O error, dev sda, sector 1");
   ASSERT_EQ(logs_.messages().size(), 1U);
   EXPECT_EQ(logs_.messages()[0].arguments[1], "KS0002");
}

TEST_F(SdErrWatcherSmTest, StillLogsAnErrorOfADiskThatIsGone) {
   start();
   devices_->diskDel("KS0001");
   line("blk_update_request: I/O error, dev sda, sector 1");
   EXPECT_EQ(logs_.messages().size(), 1U);
}

TEST_F(SdErrWatcherSmTest, UsesTheFirstRecordOfDisksThatAreGone) {
   info_->fsListIs("first", "/dev/sdx", "ata9", false);
   info_->fsListIs("second", "/dev/sdx", "ata9", false);
   start();
   line("ata9: hard resetting link");
   ASSERT_EQ(logs_.messages().size(), 1U);
   EXPECT_EQ(logs_.messages()[0].arguments[1], "first");
}

TEST_F(SdErrWatcherSmTest, ReadsNothingBeforeItIsInitialised) {
   watcher_ = Pelm::make<StorageDeviceErrWatcherSm>(info_, devices_, Pelm::String{path_});
   watcher_->handleReadable(watcher_->kMsgSockFd());
   EXPECT_TRUE(traces_.lines().empty());
}

TEST_F(SdErrWatcherSmTest, IgnoresEventsAsAZombie) {
   start();
   watcher_->vornDoZombieReactors(true);
   line("ata2: hard resetting link");
   devices_->diskDel("VT01");
   EXPECT_TRUE(logs_.messages().empty());
   EXPECT_TRUE(record("VT01"));
}

}  // namespace

}  // namespace StorageDevices
