#include "agent/kernel/KernelForwarder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "StorageDevices/KernelLine.h"
#include "agent/kernel/KernelRecord.h"
#include "base/UniqueFd.h"
#include "base/UnixAddress.h"
#include "tests/support/TempDir.h"
#include "tests/support/VirtualTimeTest.h"

namespace {

using Lines = std::vector<std::string>;

// Reads what is sent to a socket of its own.
class Receiver {
 public:
   explicit Receiver(std::string const & path) : fd_{socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0)} {
      Base::UnixAddress const address{path};
      EXPECT_EQ(bind(fd_.get(), address.get(), address.size()), 0);
   }

   // The next line, empty when there is none.
   std::string line() const {
      std::array<char, 4096> buffer{};
      ssize_t const size = recv(fd_.get(), buffer.data(), buffer.size(), 0);
      return size > 0 ? std::string{buffer.data(), static_cast<std::size_t>(size)} : std::string{};
   }
   Lines lines() const {
      Lines result;
      for (std::string next = line(); !next.empty(); next = line())
         result.push_back(next);
      return result;
   }

 private:
   Base::UniqueFd fd_;
};

// Reads as the kernel's log does: an overrun and a record that is too long are answered with an error.
ssize_t readOrFail(int fd, void * buffer, std::size_t size) {
   ssize_t const result = read(fd, buffer, size);
   std::string_view const text{static_cast<char *>(buffer),
                               result > 0 ? static_cast<std::size_t>(result) : 0};
   for (auto const & [word, error] : {std::pair{"EPIPE", EPIPE}, {"EINVAL", EINVAL}, {"EIO", EIO}})
      if (text == word) {
         errno = error;
         return -1;
      }
   return result;
}

class KernelForwarderTest : public Support::VirtualTimeTest {
 protected:
   KernelForwarderTest() {
      config.socket = folder.string() + "/messages";
      int ends[2];
      EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends), 0);
      kernel = ends[0];
      log = ends[1];
   }
   ~KernelForwarderTest() override { close(kernel); }

   void start() {
      forwarder = std::make_unique<Agent::KernelForwarder>(
          config, counts, [this](std::string const & text) { notices.push_back(text); }, log, &readOrFail,
          folder.string());
   }
   bool records(std::string const & record) const {
      return send(kernel, record.data(), record.size(), MSG_NOSIGNAL) >= 0;
   }
   // The lines that arrive for these records.
   Lines forwarded(Lines const & those) {
      for (std::string const & record : those)
         EXPECT_TRUE(records(record));
      Vorn::Host::runFor(1);
      return receiver ? receiver->lines() : Lines{};
   }

   Support::TempDir folder;
   Agent::Config::KernelMessages config;
   Agent::KernelLineCounts counts;
   int kernel;
   int log;
   Lines notices;
   std::unique_ptr<Receiver> receiver;
   std::unique_ptr<Agent::KernelForwarder> forwarder;
};

class KernelForwarderWithReceiverTest : public KernelForwarderTest {
 protected:
   KernelForwarderWithReceiverTest() {
      receiver = std::make_unique<Receiver>(config.socket);
      start();
   }
};

std::string numbered(unsigned number) {
   return "6," + std::to_string(number) + ",5140900,-;line " + std::to_string(number);
}

TEST_F(KernelForwarderWithReceiverTest, SendsRecordsAsLinesWithTheKernelsStamp) {
   EXPECT_EQ(
       forwarded({"6,339,5140900,-;NET: Registered protocol family\n SUBSYSTEM=net\n DEVICE=+net:eth0\n",
                  "4,340,123456789012,-,caller=T7;ata9: link"}),
       (Lines{"kernel: [    5.140900] NET: Registered protocol family",
              "kernel: [123456.789012] ata9: link"}));
   EXPECT_EQ(counts.forwarded, 2U);
   EXPECT_EQ(counts.rewritten + counts.dropped + counts.overruns, 0U);
}

TEST_F(KernelForwarderWithReceiverTest, RewritesNewerWording) {
   EXPECT_EQ(forwarded({"3,1,1000000,-;I/O error, dev sda1, sector 8 op 0x0:(READ)"}),
             Lines{"kernel: [    1.000000] blk_update_request: I/O error, dev sda, sector 8 op 0x0:(READ)"});
   EXPECT_EQ(counts.rewritten, 1U);
}

TEST_F(KernelForwarderWithReceiverTest, DoesNotBlameAFileSystemsDiskForItsJournals) {
   Lines const lines = forwarded({"3,1,1000000,-;I/O error, dev sdb, sector 8 op 0x1:(WRITE)",
                                  "3,2,1000100,-;EXT4-fs (sda1): Remounting filesystem read-only",
                                  "3,3,99000100,-;EXT4-fs (sda1): Remounting filesystem read-only"});
   ASSERT_EQ(lines.size(), 3U);
   EXPECT_EQ(lines[1], "kernel:_[    1.000100] EXT4-fs (sda1): Remounting filesystem read-only");
   EXPECT_EQ(lines[2], "kernel: [   99.000100] EXT4-fs (sda): Remounting filesystem read-only");
}

TEST_F(KernelForwarderWithReceiverTest, BlamesNoDiskOfAFileSystemThatLiesOnSeveral) {
   std::filesystem::path const devices = folder.path() / "sys/fs/btrfs/0f8fad5b/devices";
   std::string const record = ",1000000,-;BTRFS error (device sda1): parent transid verify failed";
   auto const blamed = [&](std::string const & number) {
      Lines const lines = forwarded({"3," + number + record});
      return std::string{StorageDevices::deviceInKernelLine(lines.at(0)).value_or("")};
   };
   EXPECT_EQ(blamed("1"), "sda");
   for (char const * device : {"sda1", "sdb1"})
      std::filesystem::create_directories(devices / device);
   EXPECT_EQ(blamed("2"), "");
}

TEST_F(KernelForwarderWithReceiverTest, ReadsNoErrorFromADevicesOwnName) {
   Lines const lines = forwarded({"6,1,1000000,-;usb 1-4: Product: (sda): This should\n SUBSYSTEM=usb\n",
                                  "6,2,1000000,-;input: Keys (sda): This should as /devices/x"});
   ASSERT_EQ(lines.size(), 2U);
   for (std::string const & line : lines)
      EXPECT_FALSE(StorageDevices::deviceInKernelLine(line)) << line;
}

TEST_F(KernelForwarderTest, RewritesNothingUnlessConfigured) {
   config.modernKernels = false;
   receiver = std::make_unique<Receiver>(config.socket);
   start();
   EXPECT_EQ(forwarded({"3,1,1000000,-;I/O error, dev sda1, sector 8 op 0x0:(READ)"}),
             Lines{"kernel: [    1.000000] I/O error, dev sda1, sector 8 op 0x0:(READ)"});
   EXPECT_EQ(counts.rewritten, 0U);
   EXPECT_EQ(forwarded({"6,2,0,-;" + std::string(3000, 'x')}).at(0).size(), 1024U);
}

TEST_F(KernelForwarderWithReceiverTest, ReadsNoErrorFromLinesOfPrograms) {
   EXPECT_EQ(forwarded({"12,1,1000000,-;ata1: hard resetting link", "30,2,1000000,-;systemd[1]: ata1: x",
                        "8,3,1000000,-;ata1: hard resetting link"}),
             Lines{});
   EXPECT_EQ(counts.dropped, 0U);
}

TEST_F(KernelForwarderWithReceiverTest, IgnoresTextThatIsNoRecord) {
   EXPECT_EQ(forwarded({"garbage", ";", "6;x", "6,1;x", "6,1,2x,-;x", "-6,1,2,-;x",
                        "6,99999999999999999999,2,-;x", "\n", "6,1,2,-;good"}),
             Lines{"kernel: [    0.000002] good"});
}

TEST_F(KernelForwarderWithReceiverTest, CountsAnOverrunWithTheLinesThatItLost) {
   EXPECT_EQ(forwarded({numbered(10), "EPIPE", numbered(15), numbered(16)}).size(), 3U);
   EXPECT_EQ(counts.overruns, 1U);
   EXPECT_EQ(counts.dropped, 4U);
   EXPECT_EQ(forwarded({"EINVAL", numbered(18)}).size(), 1U);
   EXPECT_EQ(counts.dropped, 5U);
   EXPECT_EQ(counts.overruns, 1U);
}

TEST_F(KernelForwarderWithReceiverTest, StopsWithOneNoticeWhenTheLogFails) {
   EXPECT_EQ(forwarded({numbered(1), "EIO", numbered(2)}).size(), 1U);
   ASSERT_EQ(notices.size(), 1U);
   EXPECT_NE(notices[0].find("cannot be read any more"), std::string::npos);
   EXPECT_FALSE(records(numbered(3)));  // closed
}

TEST_F(KernelForwarderWithReceiverTest, StopsWithOneNoticeWhenTheLogEnds) {
   shutdown(kernel, SHUT_WR);
   Vorn::Host::runFor(1);
   EXPECT_EQ(notices.size(), 1U);
}

TEST_F(KernelForwarderTest, CountsLinesThatNobodyReceivesUntilSomebodyListens) {
   start();
   forwarded({numbered(1), numbered(2)});
   EXPECT_EQ(counts.dropped, 2U);
   receiver = std::make_unique<Receiver>(config.socket);
   EXPECT_EQ(forwarded({numbered(3)}).size(), 1U);
   receiver.reset();  // its file stays: the connection is refused
   forwarded({numbered(4)});
   EXPECT_EQ(counts.dropped, 3U);
   EXPECT_EQ(counts.forwarded, 1U);
}

TEST_F(KernelForwarderWithReceiverTest, DelaysEverythingInOrderForAFullReceiver) {
   unsigned written = 0;
   Lines received;
   while (written < 1000 || received.size() < written) {
      while (written < 1000 && records(numbered(written + 1)))
         ++written;
      for (int turns = 0; turns < 200; ++turns)  // it does not read meanwhile
         Vorn::Host::turn(0);
      Lines const more = receiver->lines();
      ASSERT_FALSE(more.empty());
      received.insert(received.end(), more.begin(), more.end());
   }
   for (unsigned i = 0; i < received.size(); ++i)
      EXPECT_EQ(received[i], "kernel: [    5.140900] line " + std::to_string(i + 1));
   EXPECT_EQ(counts.forwarded, 1000U);
   EXPECT_EQ(counts.dropped, 0U);
}

TEST_F(KernelForwarderWithReceiverTest, RetriesAReceiverThatNeverReadsTwentyTimesASecond) {
   unsigned written = 0;
   while (written < 2000 && records(numbered(written + 1)))
      ++written;
   Vorn::Host::runFor(1);
   double const start = Vorn::System::currentTime().value();
   int turns = 0;
   while (Vorn::System::currentTime().value() < start + 10) {
      Vorn::Host::turn(0);
      ++turns;
   }
   EXPECT_LE(counts.forwarded, written);
   EXPECT_LE(turns, 2 * 10 * 20 + 2);
}

TEST_F(KernelForwarderWithReceiverTest, LimitsABurstToAPartOfEachTurn) {
   constexpr unsigned all = 20000;
   unsigned written = 0;
   std::uint64_t most = 0;
   std::size_t received = 0;
   while (received < all) {
      while (written < all && records(numbered(written + 1)))
         ++written;
      std::uint64_t const before = counts.forwarded;
      Vorn::Host::turn(0);
      most = std::max(most, counts.forwarded - before);
      received += receiver->lines().size();
   }
   EXPECT_LE(most, Agent::KernelForwarder::recordsPerTurn);
   EXPECT_EQ(counts.forwarded, all);
   EXPECT_EQ(counts.dropped, 0U);
}

TEST_F(KernelForwarderTest, ReportsAMissingLogOnce) {
   std::string const device = folder.string() + "/kmsg";
   Agent::KernelForwarder const without{
       config, counts, [this](std::string const & text) { notices.push_back(text); }, device};
   Vorn::Host::runFor(1);
   ASSERT_EQ(notices.size(), 1U);
   EXPECT_TRUE(notices[0].starts_with(device + ": cannot be read (No such file or directory)")) << notices[0];
   EXPECT_NE(notices[0].find("kernel_messages.forward_kmsg"), std::string::npos);
}

TEST_F(KernelForwarderTest, ReadsTheLogThatIsStandardInput) {
   int const opened = open(Agent::KernelForwarder::kernelLog, O_RDONLY | O_CLOEXEC);
   if (opened < 0)
      GTEST_SKIP() << "this machine lets nobody read its kernel's log";
   int const input = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0);
   dup2(opened, STDIN_FILENO);
   {
      Agent::KernelForwarder const withoutRight{config, counts,
                                                [this](std::string const & text) { notices.push_back(text); },
                                                folder.string() + "/kmsg"};
      Vorn::Host::runFor(1);
   }
   EXPECT_EQ(notices, Lines{});
   EXPECT_GE(fcntl(STDIN_FILENO, F_GETFD), 0);
   dup2(input, STDIN_FILENO);
   close(input);
   close(opened);
}

TEST_F(KernelForwarderTest, StartsReadingBehindExistingRecords) {
   auto const file = folder.write("kmsg", numbered(1));
   receiver = std::make_unique<Receiver>(config.socket);
   Agent::KernelForwarder const late{
       config, counts, [this](std::string const & text) { notices.push_back(text); }, file.string()};
   Vorn::Host::runFor(1);
   EXPECT_EQ(receiver->lines(), Lines{});
   EXPECT_EQ(counts.forwarded, 0U);
}

TEST(KernelRecordTest, UndoesPrintableEscapesAndKeepsOthers) {
   auto const text = [](std::string const & record) {
      return Agent::kernelRecord("6,1,2,-;" + record)->text;
   };
   EXPECT_EQ(text("\\x5c_SB_ \\xc3\\xbc"), "\\_SB_ \xc3\xbc");
   EXPECT_EQ(text("a\\x0ab\\x1b[0m\\x7f"), "a\\x0ab\\x1b[0m\\x7f");
   EXPECT_EQ(text("a\\x09b"), "a\tb");
   EXPECT_EQ(text("\\x"), "\\x");
   EXPECT_EQ(text("\\x5"), "\\x5");
   EXPECT_EQ(text("\\xgg\\x4g"), "\\xgg\\x4g");
   EXPECT_EQ(text("a;b,c"), "a;b,c");
}

TEST(KernelRecordTest, KeepsADeviceFromBeginningALine) {
   auto const record =
       Agent::kernelRecord("6,1,2,-;usb 1-1: Product: kernel: [1.1] ata1: hard resetting link");
   ASSERT_TRUE(record);
   EXPECT_EQ(Agent::kernelLine(*record),
             "kernel: [    0.000002] usb 1-1: Product: kernel:_[1.1] ata1: hard resetting link");
}

}  // namespace
