#include "runtime/Vorn/FileDescriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "tests/runtime/FileDescriptorTest.h"

namespace {

using RuntimeTest::FileDescriptorTest;
using RuntimeTest::Pipe;
using RuntimeTest::Reader;
using Vorn::FileDescriptor;

TEST_F(FileDescriptorTest, NotifiesAtEveryTurnWhileReadable) {
   Pipe const pipe;
   Reader const reader{pipe.reader()};
   EXPECT_EQ(Vorn::Host::turn(), Vorn::Host::Turn::idle);
   pipe.fill();
   EXPECT_EQ(Vorn::Host::turn(), Vorn::Host::Turn::worked);
   Vorn::Host::turn();
   EXPECT_EQ(reader.notified, 2);
   EXPECT_EQ(reader.watched->readableCount(), 2U);
   pipe.drain();
   EXPECT_EQ(Vorn::Host::turn(), Vorn::Host::Turn::idle);
   EXPECT_EQ(reader.watched->name(), "reader");
}

TEST_F(FileDescriptorTest, NotifiesAsWritableOnlyWhileThereIsRoom) {
   Pipe const pipe;
   auto const writer = Pelm::make<FileDescriptor>("writer");
   writer->descriptorIs(pipe.writer());
   writer->notifyOnWritableIs(true);
   Vorn::Host::turn();
   EXPECT_EQ(writer->writableCount(), 1U);
   EXPECT_EQ(writer->readableCount(), 0U);
   std::string const block(65536, 'x');
   while (write(pipe.writer(), block.data(), block.size()) > 0) {
   }
   EXPECT_EQ(Vorn::Host::turn(), Vorn::Host::Turn::idle);
   writer->notifyOnWritableIs(false);
   pipe.drain();
   EXPECT_EQ(Vorn::Host::turn(), Vorn::Host::Turn::idle);
   EXPECT_EQ(writer->writableCount(), 1U);
}

TEST_F(FileDescriptorTest, DistinguishesBothDirectionsOfASocket) {
   std::array<int, 2> ends{};
   ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
   auto const end = Pelm::make<FileDescriptor>("socket");
   end->descriptorIs(ends[0]);
   end->notifyOnReadableIs(true);
   EXPECT_EQ(Vorn::Host::turn(), Vorn::Host::Turn::idle);
   end->notifyOnWritableIs(true);
   Vorn::Host::turn();
   EXPECT_EQ(end->writableCount(), 1U);
   EXPECT_EQ(end->readableCount(), 0U);
   EXPECT_EQ(write(ends[1], "x", 1), 1);
   Vorn::Host::turn();
   EXPECT_EQ(end->readableCount(), 1U);
   end->descriptorIs(-1);
   close(ends[0]);
   close(ends[1]);
}

TEST_F(FileDescriptorTest, ReportsAHangUpAsReadable) {
   Pipe pipe;
   Reader const reader{pipe.reader()};
   pipe.closeWriter();
   Vorn::Host::turn();
   EXPECT_EQ(reader.notified, 1);
}

TEST_F(FileDescriptorTest, ReportsALostReaderAsWritable) {
   Pipe pipe;
   auto const writer = Pelm::make<FileDescriptor>("writer");
   writer->descriptorIs(pipe.writer());
   writer->notifyOnWritableIs(true);
   pipe.closeReader();
   Vorn::Host::turn();
   EXPECT_EQ(writer->writableCount(), 1U);
   EXPECT_EQ(writer->readableCount(), 0U) << "nobody asked for that";
}

TEST_F(FileDescriptorTest, NotifiesOfARegularFileOncePerSwitchOn) {
   int const file = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
   Reader const reader{file};
   EXPECT_EQ(Vorn::Host::turn(), Vorn::Host::Turn::worked);
   EXPECT_EQ(Vorn::Host::turn(), Vorn::Host::Turn::idle);
   EXPECT_EQ(reader.notified, 1);
   reader.watched->notifyOnReadableIs(true);
   Vorn::Host::turn();
   EXPECT_EQ(reader.notified, 1) << "it was on already";
   reader.watched->notifyOnReadableIs(false);
   reader.watched->notifyOnReadableIs(true);
   Vorn::Host::turn();
   Vorn::Host::turn();
   EXPECT_EQ(reader.notified, 2);
   reader.watched->notifyOnWritableIs(true);
   Vorn::Host::turn();
   EXPECT_EQ(reader.watched->writableCount(), 1U);
   EXPECT_EQ(reader.notified, 2);
   reader.watched->notifyOnWritableIs(true);
   Vorn::Host::turn();
   EXPECT_EQ(reader.watched->writableCount(), 1U) << "it was on already";
   reader.watched->descriptorIs(-1);
   close(file);
}

TEST_F(FileDescriptorTest, NotifiesOfTheNextRegularFileAgain) {
   int const first = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
   int const second = open("/dev/null", O_RDONLY | O_CLOEXEC);
   Reader const reader{first};
   Vorn::Host::turn();
   reader.watched->descriptorIs(second);
   Vorn::Host::turn();
   Vorn::Host::turn();
   EXPECT_EQ(reader.notified, 2);
   reader.watched->descriptorIs(-1);
   close(first);
   close(second);
}

TEST_F(FileDescriptorTest, NotifiesInRotationWhenATurnCannotHandleAll) {
   rlimit limit{};
   getrlimit(RLIMIT_NOFILE, &limit);
   limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 4096);
   setrlimit(RLIMIT_NOFILE, &limit);
   std::vector<std::unique_ptr<Pipe>> pipes;
   std::vector<std::unique_ptr<Reader>> readers;
   for (int i = 0; i < 1500; ++i) {
      pipes.push_back(std::make_unique<Pipe>());
      pipes.back()->fill();
      readers.push_back(std::make_unique<Reader>(pipes.back()->reader()));
   }
   auto const notified = [](auto const & reader) { return reader->notified; };
   Vorn::Host::turn();
   EXPECT_LT(std::ranges::count(readers, 1, notified), 1500) << "a turn is bounded";
   for (int turn = 0; turn < 40; ++turn)
      Vorn::Host::turn();
   auto const [least, most] = std::ranges::minmax_element(readers, {}, notified);
   EXPECT_GE((*least)->notified, 4);
   EXPECT_LE((*most)->notified - (*least)->notified, 1)
       << "nobody is notified twice before all are notified once";
}

TEST_F(FileDescriptorTest, StarvesNeitherOthersNorTheClocksWhenBusy) {
   Pipe const busy;
   Pipe const rare;
   busy.fill();
   Reader const busyReader{busy.reader()};
   Reader const rareReader{rare.reader(), [&] { rare.drain(); }};
   Vorn::Host::turn();
   rare.fill();
   Vorn::Host::turn();
   EXPECT_EQ(busyReader.notified, 2);
   EXPECT_EQ(rareReader.notified, 1);
}

TEST_F(FileDescriptorTest, TracesASecondWatcherOfANumberAndDoesNotWatchIt) {
   Pipe const pipe;
   pipe.fill();
   Reader const first{pipe.reader()};
   auto second = std::make_unique<Reader>(pipe.reader());
   ASSERT_EQ(traces.size(), 1U);
   EXPECT_EQ(traces[0], " cannot watch reader: epoll_ctl: File exists (errno 17)");
   Vorn::Host::turn();
   second.reset();
   Vorn::Host::turn();
   EXPECT_EQ(first.notified, 2) << "the first keeps its watch";
}

TEST_F(FileDescriptorTest, TracesANumberThatIsNotOpen) {
   Reader const reader{999999};
   ASSERT_EQ(traces.size(), 1U);
   EXPECT_EQ(traces[0], " cannot watch reader: epoll_ctl: Bad file descriptor (errno 9)");
   EXPECT_EQ(Vorn::Host::turn(), Vorn::Host::Turn::idle);
}

TEST_F(FileDescriptorTest, SwitchesNotificationsOfWritingOnAndOffAndOn) {
   Pipe const pipe;
   auto const writer = Pelm::make<FileDescriptor>("writer");
   writer->descriptorIs(pipe.writer());
   for (bool const on : {true, true, false, true})
      writer->notifyOnWritableIs(on);
   Vorn::Host::turn();
   EXPECT_EQ(writer->writableCount(), 1U);
   writer->descriptorIs(-1);
}

TEST_F(FileDescriptorTest, LeavesTheModeOfANumberThatIsNotOpen) {
   auto const watched = Pelm::make<FileDescriptor>("closed");
   watched->descriptorIs(999999);
   watched->nonBlockingIs(true);
   EXPECT_TRUE(watched->nonBlocking());
   EXPECT_EQ(traces, std::vector<std::string>{});
}

TEST_F(FileDescriptorTest, SetsNonBlockingOnTheDescriptorWhenever) {
   std::array<int, 2> ends{};
   ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
   auto const watched = Pelm::make<FileDescriptor>("pipe");
   watched->nonBlockingIs(true);
   watched->descriptorIs(ends[0]);
   EXPECT_TRUE(fcntl(ends[0], F_GETFL) & O_NONBLOCK);
   watched->nonBlockingIs(false);
   EXPECT_FALSE(fcntl(ends[0], F_GETFL) & O_NONBLOCK);
   watched->descriptorIs(ends[1]);
   EXPECT_FALSE(fcntl(ends[1], F_GETFL) & O_NONBLOCK);
   watched->descriptorIs(-1);
   close(ends[0]);
   close(ends[1]);
}

TEST(RealTimeDescriptorsTest, WakesAWaitingLoop) {
   Vorn::Host::timeSourceIs(nullptr);
   Pipe const pipe;
   Reader const reader{pipe.reader()};
   pipe.fill();
   EXPECT_EQ(Vorn::Host::turn(), Vorn::Host::Turn::worked);
   EXPECT_EQ(reader.notified, 1);
}

}  // namespace
