// What the watch reads of the lines that it gets.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

#include "tests/StorageDevices/SdErrWatcherSmTest.h"

namespace StorageDevices {

namespace {

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

}  // namespace

}  // namespace StorageDevices
