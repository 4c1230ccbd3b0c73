#include "StorageDevices/SdErrWatcherSm.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <optional>

#include "StorageDevices/Factories.h"
#include "runtime/host/Failure.h"
#include "tests/support/DiskFields.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/ProcessState.h"
#include "tests/support/TempDir.h"
#include "tests/support/TraceRecorder.h"
#include "tests/support/Units.h"
#include "tests/support/VirtualTimeTest.h"

namespace {

socklen_t boundLength = 0;

}  // namespace

// In the place of the C library's for this program.
extern "C" int bind(int fd, sockaddr const * address, socklen_t length) noexcept {
   boundLength = length;
   return static_cast<int>(syscall(SYS_bind, fd, address, length));
}

namespace StorageDevices {

namespace {

using Support::DiskFields;
using Texts = std::vector<std::string>;

// Sends datagrams to a path.
class Sender {
 public:
   explicit Sender(std::string const & path) {
      address_.sun_family = AF_UNIX;
      path.copy(address_.sun_path, sizeof address_.sun_path - 1);
   }
   Sender(Sender const &) = delete;
   Sender & operator=(Sender const &) = delete;
   ~Sender() { close(fd_); }

   // False when the socket does not take it.
   bool send(std::string_view line) const {
      return sendto(fd_, line.data(), line.size(), MSG_DONTWAIT,
                    reinterpret_cast<sockaddr const *>(&address_),
                    sizeof address_) == static_cast<ssize_t>(line.size());
   }

 private:
   int fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
   sockaddr_un address_{};
};

class SdErrWatcherSmTest : public Support::VirtualTimeTest {
 protected:
   SdErrWatcherSmTest() {
      sata_.writeTo(*devices_);
      stick_.writeTo(*devices_);
   }

   void start() { watcher_ = storageDeviceErrWatcherSmFactory(info_, devices_, Pelm::String{path_}); }
   void line(std::string const & text) const {
      ASSERT_TRUE(Sender{path_}.send("kernel: [  123.456789] " + text));
      Vorn::Host::turn();
   }
   Pelm::Ptr<StorageDevErrorSyslogInfo> record(char const * serial) const { return info_->fsList(serial); }
   // The fixed disk is pulled, and that one is plugged.
   void fixedDiskBecomes(DiskFields const & next) const {
      devices_->diskDel("KS0001");
      next.writeTo(*devices_);
   }

   Support::TempDir folder_;
   std::string path_ = folder_.string() + "/kernelmessages";
   DiskFields sata_;
   DiskFields stick_{.name = "VT01",
                     .blockDevice = "/dev/sdb",
                     .mountPoint = "/mnt/usb1",
                     .model = "Stick",
                     .firmwareRevision = "1.0",
                     .removable = true,
                     .busType = ConnectedDisk::BusType::usb,
                     .devAddress = "2-1"};
   Support::LogRecorder logs_;
   Support::TraceRecorder traces_{{"StorageDevicesErrWatchSm", 7}};
   Pelm::Ptr<StorageDevicesInfo> info_ = Pelm::make<StorageDevicesInfo>();
   Pelm::Ptr<ConnectedDevices> devices_ = Pelm::make<ConnectedDevices>();
   Pelm::Ptr<StorageDeviceErrWatcherSm> watcher_;
};

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

TEST_F(SdErrWatcherSmTest, ReconcilesTheDisksFirstThenTheRecords) {
   info_->fsListIs("gone", "/dev/sdx", "ata9", false);
   start();
   EXPECT_EQ(traces_.texts(7), (Texts{"handleDeviceAddRem add KS0001 ata2 to dev list",
                                      "handleDeviceAddRem add VT01 usb 2-1 to dev list",
                                      "handleDeviceAddRem modify KS0001 to dev list",
                                      "handleDeviceAddRem modify VT01 to dev list"}));
   EXPECT_EQ(record("gone")->disconnectCount(), 1U);
}

TEST_F(SdErrWatcherSmTest, IgnoresANameThatNobodyHas) {
   start();
   traces_.clear();
   watcher_->handleDeviceAddRem("nobody");
   EXPECT_EQ(info_->fsList.size(), 2U);
   EXPECT_TRUE(traces_.lines().empty());
}

TEST_F(SdErrWatcherSmTest, BindsWithTheWholeAddress) {
   start();
   EXPECT_EQ(boundLength, sizeof(sockaddr_un));
}

TEST_F(SdErrWatcherSmTest, TracesTheClosingOfItsSocketBeforeItsRemoval) {
   start();
   int const fd = watcher_->kMsgSockFd();
   Texts seen;
   Vorn::Host::traceSinkIs([&](Vorn::Host::TraceLine const & trace) {
      bool const open = fcntl(fd, F_GETFD) >= 0;
      bool const there = std::filesystem::exists(path_);
      seen.push_back(trace.text + (open ? ", open" : "") + (there ? ", there" : ""));
   });
   watcher_->handleDestruction();
   Vorn::Host::traceSinkIs(nullptr);
   EXPECT_EQ(seen, (Texts{" close socket, open, there", " unlink, there"}));
   EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(SdErrWatcherSmTest, ReadsNoMoreWhenReleasedInItsOwnMessage) {
   start();
   Sender const sender{path_};
   ASSERT_TRUE(sender.send("kernel: [1.2] ata2: hard resetting link"));
   ASSERT_TRUE(sender.send("kernel: [1.2] usb 2-1: USB disconnect, device number 2"));
   int messages = 0;
   Vorn::Host::logSinkIs([&](Vorn::Host::LogMessage const &) {
      ++messages;
      watcher_ = nullptr;
   });
   Vorn::Host::turn();
   Vorn::Host::logSinkIs(nullptr);
   EXPECT_EQ(messages, 1);
   EXPECT_FALSE(std::filesystem::exists(path_));
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

TEST_F(SdErrWatcherSmTest, AcceptsLinesThatMatchNothingAndLongOnes) {
   start();
   for (std::size_t const size : {1, 1000, 1024, 1025, 5000})
      line(std::string(size, 'x'));
   line("blk_update_request: I/O error, dev sda, sector 1" + std::string(2000, '0'));
   EXPECT_EQ(logs_.messages().size(), 1U) << "what is read of a long line is a line";
}

TEST_F(SdErrWatcherSmTest, ReadsALineUpToItsByte1024) {
   start();
   std::string const words = "(sda): This should";
   std::size_t const stamp = std::string{"kernel: [  123.456789] "}.size();
   line(std::string(1024 - stamp - words.size() + 1, 'x') + words);
   EXPECT_TRUE(logs_.messages().empty()) << "its last letter is the 1025th";
   line(std::string(1024 - stamp - words.size(), 'x') + words);
   EXPECT_EQ(logs_.messages().size(), 1U);
}

TEST_F(SdErrWatcherSmTest, ReadsLessWithASmallerBuffer) {
   start();
   watcher_->recvBufSizeIs(40);
   line("ata2: hard resetting link");
   EXPECT_EQ(traces_.count(7, "receivedkernel: [  123.456789] ata2: hard reset"), 1);
   EXPECT_THROW(watcher_->recvBufSizeIs(0), std::invalid_argument);
   watcher_->recvBufSizeIs(1);
   line("ata2: hard resetting link");
   EXPECT_TRUE(logs_.messages().empty());
}

TEST_F(SdErrWatcherSmTest, TracesTheLinesThatItReads) {
   start();
   traces_.clear();
   line("ata9: hard resetting link");
   std::string const text = "kernel: [  123.456789] ata9: hard resetting link";
   EXPECT_EQ(traces_.texts(7),
             (Texts{"SdErrWatcher reading using socket " + std::to_string(watcher_->kMsgSockFd()),
                    "received" + text, "processKernelMsg" + text, "regex matched! ata9"}));
}

TEST_F(SdErrWatcherSmTest, EndsTheBurstAtAReadErrorAndTracesIt) {
   start();
   int const nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
   ASSERT_GE(dup2(nothing, watcher_->kMsgSockFd()), 0);
   close(nothing);
   watcher_->handleReadable(watcher_->kMsgSockFd());
   ASSERT_EQ(traces_.errors().size(), 1U);
   EXPECT_TRUE(traces_.errors()[0].starts_with("handleReadable read error:")) << traces_.errors()[0];
   EXPECT_TRUE(logs_.messages().empty());
}

TEST_F(SdErrWatcherSmTest, ReadsNothingOfALongerLineIntoAShortOne) {
   start();
   Sender const sender{path_};
   ASSERT_TRUE(sender.send("kernel: [1.2] ata2: hard resetting link"));
   ASSERT_TRUE(sender.send("kernel: [1.2] ata3: "));
   Vorn::Host::turn();
   EXPECT_EQ(traces_.count(7, "receivedkernel: [1.2] ata3: "), 1);
   EXPECT_TRUE(traces_.errors().empty()) << "nothing more to read is no error";
}

TEST_F(SdErrWatcherSmTest, ContinuesAfterAnEmptyDatagram) {
   start();
   Sender const sender{path_};
   ASSERT_TRUE(sender.send(""));
   ASSERT_TRUE(sender.send("kernel: [1.2] ata2: hard resetting link"));
   Vorn::Host::turn();
   EXPECT_EQ(logs_.messages().size(), 1U);
}

TEST_F(SdErrWatcherSmTest, IgnoresTextBehindANul) {
   start();
   using namespace std::string_literals;
   line("ata2: hard\0 resetting link"s);
   EXPECT_TRUE(logs_.messages().empty());
}

TEST_F(SdErrWatcherSmTest, MatchesNoLineWithAnEmptyAddress) {
   DiskFields{.name = "NOADDR", .blockDevice = "", .busType = ConnectedDisk::BusType::other, .devAddress = ""}
       .writeTo(*devices_);
   start();
   EXPECT_EQ(record("NOADDR")->interfaceAndAddress(), "");
   line("EXT4-fs error (device ):");
   EXPECT_TRUE(logs_.messages().empty());
}

TEST_F(SdErrWatcherSmTest, ReadsABurstInPortions) {
   start();
   time->stepPerReadingIs(0.2);
   Sender const sender{path_};
   int sent = 0;
   while (sender.send("kernel: [1.2] nothing"))
      ++sent;
   ASSERT_GT(sent, 8);
   traces_.clear();
   watcher_->handleReadable(watcher_->kMsgSockFd());
   auto const read = traces_.count(7, "receivedkernel: [1.2] nothing");
   EXPECT_GE(read, 2);
   EXPECT_LE(read, 4) << "half a second at 0.2 seconds a line";
   time->stepPerReadingIs(0);
   for (int i = 0; i < 20; ++i)
      Vorn::Host::turn();
   EXPECT_EQ(traces_.count(7, "receivedkernel: [1.2] nothing"), sent);
}

TEST_F(SdErrWatcherSmTest, StopsReadingWhenItIsPastItsTime) {
   start();
   Sender const sender{path_};
   for (int i = 0; i < 6; ++i)
      ASSERT_TRUE(sender.send("kernel: [1.2] nothing"));
   auto const readAt = [&](double budget) {
      watcher_->maxProcessTimeIs(budget);
      traces_.clear();
      time->stepPerReadingIs(0.25);
      watcher_->handleReadable(watcher_->kMsgSockFd());
      time->stepPerReadingIs(0);
      return traces_.count(7, "receivedkernel: [1.2] nothing");
   };
   EXPECT_EQ(readAt(0.5), 3) << "at the deadline itself it continues";
   EXPECT_EQ(readAt(0), 1);
}

TEST_F(SdErrWatcherSmTest, LosesNoneOfAHundredThousandLinesThatTheSocketAccepted) {
   constexpr int lines = 100000;
   start();
   int received = 0;
   Vorn::Host::traceSinkIs([&received](Vorn::Host::TraceLine const & trace) {
      received += trace.text == "receivedkernel: [1.2] ordinary line " + std::to_string(received);
   });
   Sender const sender{path_};
   for (int i = 0; i < lines; ++i)
      while (!sender.send("kernel: [1.2] ordinary line " + std::to_string(i)))
         Vorn::Host::turn();
   Vorn::Host::turn();
   Vorn::Host::traceSinkIs(nullptr);
   EXPECT_EQ(received, lines) << "each of them, in their order";
}

TEST_F(SdErrWatcherSmTest, RecordsConnectedDisksWithAllThatAMessageNeeds) {
   start();
   ASSERT_TRUE(record("KS0001"));
   EXPECT_EQ(record("KS0001")->blockDevice(), "/dev/sda");
   EXPECT_EQ(record("KS0001")->interfaceAndAddress(), "ata2");
   EXPECT_EQ(record("KS0001")->kernelDevName(), "sda");
   EXPECT_EQ(record("KS0001")->model(), "Kestrel_S2");
   EXPECT_EQ(record("KS0001")->firmwareRevision(), "KF1.2");
   EXPECT_FALSE(record("KS0001")->removable());
   EXPECT_EQ(record("KS0001")->syslogTimestamp(), 0);
   EXPECT_EQ(record("VT01")->interfaceAndAddress(), "usb 2-1");
   EXPECT_TRUE(record("VT01")->removable());
   EXPECT_EQ(traces_.count(7, "handleDeviceAddRem add KS0001 ata2 to dev list"), 1);
}

TEST_F(SdErrWatcherSmTest, RecordsDisksThatConnectLater) {
   start();
   DiskFields{.name = "LATER", .blockDevice = "/dev/sdc", .devAddress = "3"}.writeTo(*devices_);
   ASSERT_TRUE(record("LATER"));
   EXPECT_EQ(record("LATER")->blockDevice(), "/dev/sdc");
   EXPECT_EQ(record("LATER")->kernelDevName(), "sdc");
   EXPECT_EQ(record("LATER")->model(), "Kestrel_S2");
   EXPECT_EQ(record("LATER")->firmwareRevision(), "KF1.2");
}

TEST_F(SdErrWatcherSmTest, DeletesTheRecordOfARemovedRemovableDiskAndCountsAFixedOne) {
   start();
   devices_->diskDel("VT01");
   devices_->diskDel("KS0001");
   EXPECT_FALSE(record("VT01"));
   ASSERT_TRUE(record("KS0001"));
   EXPECT_EQ(record("KS0001")->disconnectCount(), 1U);
   sata_.writeTo(*devices_);
   devices_->diskDel("KS0001");
   EXPECT_EQ(record("KS0001")->disconnectCount(), 2U);
}

TEST_F(SdErrWatcherSmTest, KeepsTheDayOfADiskThatComesBackAndRefreshesItsRecord) {
   start();
   line("ata2: hard resetting link");
   fixedDiskBecomes({.blockDevice = "/dev/sdc", .model = "other", .firmwareRevision = "KF2"});
   EXPECT_EQ(record("KS0001")->kernelDevName(), "sdc");
   EXPECT_EQ(record("KS0001")->firmwareRevision(), "KF2");
   EXPECT_EQ(record("KS0001")->model(), "Kestrel_S2");
   EXPECT_EQ(traces_.texts(7).back(), "handleDeviceAddRem modify KS0001 to dev list");
   line("blk_update_request: I/O error, dev sdc, sector 1");
   EXPECT_EQ(logs_.messages().size(), 1U);
}

TEST_F(SdErrWatcherSmTest, ReconcilesRecordsOfAnEarlierRunWithTheDisksAfterTheStart) {
   info_->fsListIs("gone fixed", "/dev/sdx", "ata9", false);
   info_->fsListIs("gone stick", "/dev/sdy", "usb 9-9", true);
   info_->fsListIs("KS0001", "/dev/sda", "ata2", false);
   start();
   EXPECT_EQ(record("gone fixed")->disconnectCount(), 1U);
   EXPECT_FALSE(record("gone stick"));
   EXPECT_EQ(record("KS0001")->kernelDevName(), "sda");
   EXPECT_EQ(info_->fsList.size(), 3U);
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

TEST_F(SdErrWatcherSmTest, RestrictsItsSocketToItsUserWhateverTheMask) {
   mode_t const before = umask(0);
   start();
   EXPECT_EQ(umask(before), 0U) << "the process's mask is not its own to change";
   struct stat status {};
   ASSERT_EQ(stat(path_.c_str(), &status), 0);
   EXPECT_TRUE(S_ISSOCK(status.st_mode));
   EXPECT_EQ(status.st_mode & 0777U, 0600U);
   EXPECT_TRUE(watcher_->initialized());
   EXPECT_EQ(traces_.texts(1), Texts{"Socket opened path" + path_});
}

TEST_F(SdErrWatcherSmTest, DoesNotPassItsSocketToChildren) {
   start();
   EXPECT_EQ(fcntl(watcher_->kMsgSockFd(), F_GETFD), FD_CLOEXEC);
}

TEST_F(SdErrWatcherSmTest, IsDestroyedOnce) {
   start();
   watcher_->handleDestruction();
   EXPECT_EQ(watcher_->kMsgSockFd(), -1);
   folder_.write("kernelmessages", "somebody else's");
   watcher_ = nullptr;
   EXPECT_EQ(folder_.content("kernelmessages"), "somebody else's");
   EXPECT_EQ(traces_.count(2, " close socket"), 1);
}

TEST_F(SdErrWatcherSmTest, CutsAPathToTheLengthOfAnAddress) {
   constexpr std::size_t most = 107;
   std::string const longest = path_ + std::string(most - path_.size(), 'x');
   for (std::string const & path : {longest, longest + "yz"}) {
      path_ = path;
      start();
      EXPECT_TRUE(std::filesystem::exists(longest));
      watcher_ = nullptr;
      EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
   }
}

TEST_F(SdErrWatcherSmTest, ReplacesAStaleFileAndRemovesItsSocketAtTheEnd) {
   folder_.write("kernelmessages", "stale");
   auto const before = Support::openDescriptors();
   start();
   line("ata2: hard resetting link");
   EXPECT_EQ(logs_.messages().size(), 1U);
   watcher_ = nullptr;
   EXPECT_FALSE(std::filesystem::exists(path_));
   EXPECT_EQ(Support::openDescriptors(), before);
   EXPECT_EQ(traces_.count(2, " close socket"), 1);
   EXPECT_EQ(traces_.count(2, " unlink"), 1);
}

class SdErrWatcherSocketTest : public SdErrWatcherSmTest {
 protected:
   SdErrWatcherSocketTest() {
      Vorn::Host::failureSinkIs(
          [this](std::string_view, std::string_view what) { failures_.emplace_back(what); });
   }
   ~SdErrWatcherSocketTest() override { Vorn::Host::failureSinkIs(nullptr); }
   Texts failures_;
};

TEST_F(SdErrWatcherSocketTest, NamesAMissingFolderAsAFailureOfItsOwn) {
   path_ = folder_.string() + "/missing/socket";
   auto const before = Support::openDescriptors();
   start();
   EXPECT_EQ(failures_, Texts{"binding to dgram socket"});
   ASSERT_TRUE(watcher_);
   DiskFields{.name = "LATER"}.writeTo(*devices_);
   EXPECT_TRUE(info_->fsList.empty()) << "it does nothing at all";
   EXPECT_FALSE(watcher_->initialized());
   EXPECT_EQ(watcher_->kMsgSockFd(), -1);
   ASSERT_EQ(traces_.errors().size(), 1U);
   EXPECT_TRUE(traces_.errors()[0].starts_with("StorageDeviceErrWatcherSm::handleInitialized() bind errno "));
   EXPECT_EQ(Support::openDescriptors(), before);
}

TEST_F(SdErrWatcherSocketTest, FailsAtAFolderInItsPlaceAndLeavesIt) {
   std::filesystem::create_directory(path_);
   start();
   EXPECT_EQ(failures_, Texts{"binding to dgram socket"});
   watcher_ = nullptr;
   EXPECT_TRUE(std::filesystem::is_directory(path_));
}

TEST_F(SdErrWatcherSocketTest, HasNoSocketWithoutDescriptors) {
   {
      Support::DescriptorLimit const limit{0};
      start();
   }
   EXPECT_EQ(failures_, Texts{"creating unix dgram socket"});
   ASSERT_EQ(traces_.errors().size(), 1U);
   EXPECT_TRUE(traces_.errors()[0].starts_with("StorageDeviceErrWatcherSm::handleInitialized() socket "));
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
