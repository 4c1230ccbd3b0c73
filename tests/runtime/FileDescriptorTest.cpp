#include "runtime/Vorn/FileDescriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "runtime/Vorn/Notifiee.h"
#include "runtime/host/Trace.h"
#include "tests/support/VirtualTimeTest.h"

namespace {

using Vorn::FileDescriptor;

class Pipe {
 public:
   Pipe() { EXPECT_EQ(pipe2(ends_.data(), O_CLOEXEC | O_NONBLOCK), 0); }
   Pipe(Pipe const &) = delete;
   Pipe & operator=(Pipe const &) = delete;
   ~Pipe() {
      closeReader();
      closeWriter();
   }

   int reader() const { return ends_[0]; }
   int writer() const { return ends_[1]; }
   void fill(char const * text = "x") const {
      std::string const bytes{text};
      EXPECT_EQ(write(writer(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
   }
   void drain() const {
      std::array<char, 256> buffer;
      while (read(reader(), buffer.data(), buffer.size()) > 0) {
      }
   }
   void closeReader() { closeEnd(0); }
   void closeWriter() { closeEnd(1); }

 private:
   void closeEnd(std::size_t which) {
      if (int const fd = std::exchange(ends_[which], -1); fd >= 0)
         close(fd);
   }
   std::array<int, 2> ends_{-1, -1};
};

// Watches one descriptor, counts its notifications, and runs an action of the test.
class Reader {
 public:
   explicit Reader(int fd, std::function<void()> atReady = {}) : then{std::move(atReady)} {
      watched->descriptorIs(fd);
      watched->notifyOnReadableIs(true);
      reactor_.notifierIs(watched);
      reactor_.on<&Reader::handleReadable>(watched->readableCount, *this);
      reactor_.hasNotificationActiveIs(true);
   }

   Pelm::Ptr<FileDescriptor> const watched = Pelm::make<FileDescriptor>("reader");
   int notified = 0;
   std::function<void()> then;

 private:
   void handleReadable() {
      ++notified;
      if (auto const next = then)
         next();
   }
   Vorn::NotifieeConst reactor_;
};

class FileDescriptorTest : public Support::VirtualTimeTest {
 protected:
   FileDescriptorTest() {
      Vorn::Host::traceSinkIs([this](Vorn::Host::TraceLine const & line) { traces.push_back(line.text); });
   }
   ~FileDescriptorTest() override { Vorn::Host::traceSinkIs(nullptr); }

   std::vector<std::string> traces;
};

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

TEST_F(FileDescriptorTest, StopsWritingAtOnceWhenAReadHandlerEndsIt) {
   std::array<int, 2> ends{};
   ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
   ASSERT_EQ(write(ends[1], "x", 1), 1);
   Reader reader{ends[0]};
   reader.watched->notifyOnWritableIs(true);
   reader.then = [&] { reader.watched->notifyOnWritableIs(false); };
   Vorn::Host::turn();
   EXPECT_EQ(reader.notified, 1);
   EXPECT_EQ(reader.watched->writableCount(), 0U);
   reader.watched->descriptorIs(-1);
   close(ends[0]);
   close(ends[1]);
}

TEST_F(FileDescriptorTest, SkipsTheWriteHandlerOfADescriptorReleasedInTheReadHandler) {
   std::array<int, 2> ends{};
   ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
   ASSERT_EQ(write(ends[1], "x", 1), 1);
   auto descriptor = Pelm::make<FileDescriptor>("socket");
   descriptor->descriptorIs(ends[0]);
   descriptor->notifyOnReadableIs(true);
   descriptor->notifyOnWritableIs(true);
   int notified = 0;
   class Leaver {
    public:
      Leaver(Pelm::Ptr<FileDescriptor> & watched, int & count) : watched_{watched}, count_{count} {
         reactor_.notifierIs(watched);
         reactor_.on<&Leaver::handleReadable>(watched->readableCount, *this);
         reactor_.hasNotificationActiveIs(true);
      }

    private:
      void handleReadable() {
         ++count_;
         watched_->notifyOnWritableIs(false);
         reactor_.notifierIs(Pelm::Ptr<FileDescriptor>{});
         watched_ = nullptr;
      }
      Pelm::Ptr<FileDescriptor> & watched_;
      int & count_;
      Vorn::NotifieeConst reactor_;
   } const leaver{descriptor, notified};
   Vorn::Host::turn();
   EXPECT_EQ(notified, 1);
   EXPECT_FALSE(descriptor);
   close(ends[0]);
   close(ends[1]);
}

TEST_F(FileDescriptorTest, SkipsHandlersWhoseWatchEndedInTheSameTurn) {
   Pipe const first;
   Pipe const second;
   std::vector<std::unique_ptr<Reader>> readers;
   int notified = 0;
   // The first notified reader ends the other's watch, each time in another way.
   std::vector<std::function<void(Reader &)>> const ways{
       [](Reader & other) { other.watched->notifyOnReadableIs(false); },
       [](Reader & other) { other.watched->descriptorIs(-1); }};
   first.fill();
   second.fill();
   for (auto const & way : ways) {
      readers.clear();
      notified = 0;
      for (Pipe const * const pipe : {&first, &second})
         readers.push_back(std::make_unique<Reader>(pipe->reader()));
      for (std::size_t i = 0; i < 2; ++i)
         readers[i]->then = [&, i] {
            ++notified;
            way(*readers[1 - i]);
         };
      Vorn::Host::turn();
      EXPECT_EQ(notified, 1);
   }
}

TEST_F(FileDescriptorTest, AllowsTheHandlersOfAnotherAndOfItselfToDestroyIt) {
   Pipe const first;
   Pipe const second;
   first.fill();
   second.fill();
   int notified = 0;
   std::vector<std::unique_ptr<Reader>> readers;
   for (Pipe const * const pipe : {&first, &second})
      readers.push_back(std::make_unique<Reader>(pipe->reader(), [&] {
         ++notified;
         readers.clear();
      }));
   Vorn::Host::turn();
   EXPECT_EQ(notified, 1);
   EXPECT_EQ(Vorn::Host::turn(), Vorn::Host::Turn::idle);
}

TEST_F(FileDescriptorTest, NotifiesOnlyTheNewWatcherOfANumberClosedAndReused) {
   auto old = std::make_unique<Pipe>();
   int const number = old->reader();
   auto stale = std::make_unique<Reader>(number);
   old.reset();
   Pipe const reused;
   ASSERT_EQ(reused.reader(), number);
   Reader const fresh{number};
   reused.fill();
   Vorn::Host::turn();
   EXPECT_EQ(fresh.notified, 1);
   EXPECT_EQ(stale->notified, 0);
   stale->watched->notifyOnWritableIs(true);
   EXPECT_EQ(traces.size(), 1U) << "the number is somebody else's by now";
   stale.reset();
   Vorn::Host::turn();
   EXPECT_EQ(fresh.notified, 2);
}

TEST_F(FileDescriptorTest, RestartsTheWatchWhenTheSameNumberIsSetAgain) {
   auto old = std::make_unique<Pipe>();
   int const number = old->reader();
   Reader const reader{number};
   old.reset();
   Pipe const reused;
   ASSERT_EQ(reused.reader(), number);
   reader.watched->descriptorIs(number);
   reused.fill();
   Vorn::Host::turn();
   EXPECT_EQ(reader.notified, 1);
}

TEST_F(FileDescriptorTest, RestartsAChangedWatchOfAReopenedNumber) {
   auto old = std::make_unique<Pipe>();
   int const number = old->reader();
   Reader const reader{number};
   old.reset();
   Pipe const reused;
   reader.watched->notifyOnWritableIs(true);
   reused.fill();
   Vorn::Host::turn();
   EXPECT_EQ(reader.notified, 1);
   EXPECT_TRUE(traces.empty());
}

TEST_F(FileDescriptorTest, NotifiesNobodyOfAFileThatOutlivesItsClosedNumber) {
   auto pipe = std::make_unique<Pipe>();
   pipe->fill();
   int const duplicate = dup(pipe->reader());
   auto reader = std::make_unique<Reader>(pipe->reader());
   pipe->closeReader();
   reader.reset();
   EXPECT_EQ(Vorn::Host::turn(), Vorn::Host::Turn::idle)
       << "the kernel still reports it, and must not reach what is gone";
   close(duplicate);
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

TEST_F(FileDescriptorTest, SkipsAnUnpollableOneSwitchedOffOrDestroyedBeforeItsTurn) {
   int const file = open("/dev/null", O_RDONLY | O_CLOEXEC);
   Reader const off{file};
   auto gone = std::make_unique<Reader>(file);
   off.watched->notifyOnReadableIs(false);
   gone.reset();
   EXPECT_EQ(Vorn::Host::turn(), Vorn::Host::Turn::idle);
   Reader second{file};
   auto victim = std::make_unique<Reader>(file);
   second.then = [&] { victim.reset(); };
   EXPECT_EQ(Vorn::Host::turn(), Vorn::Host::Turn::worked);
   EXPECT_EQ(off.notified, 0);
   EXPECT_EQ(second.notified, 1);
   close(file);
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

// Lets go of the descriptor it watches as soon as an attribute of it changes.
class Dropper {
 public:
   explicit Dropper(Pelm::Ptr<FileDescriptor> watched) : watched_{std::move(watched)} {
      reactor_.notifierIs(watched_);
      reactor_.on<&Dropper::handleChange>(watched_->descriptor, *this);
      reactor_.on<&Dropper::handleChange>(watched_->notifyOnReadable, *this);
      reactor_.on<&Dropper::handleChange>(watched_->notifyOnWritable, *this);
      reactor_.on<&Dropper::handleChange>(watched_->nonBlocking, *this);
      reactor_.hasNotificationActiveIs(true);
   }
   bool dropped() const { return !watched_; }

 private:
   void handleChange() {
      reactor_.notifierIs(nullptr);
      watched_ = nullptr;
   }
   Pelm::Ptr<FileDescriptor> watched_;
   Vorn::NotifieeConst reactor_;
};

TEST_F(FileDescriptorTest, AllowsASubscriberToDropTheLastPointerInEveryMutator) {
   Pipe const pipe;
   std::vector<std::function<void(FileDescriptor &)>> const mutators{
       [&](FileDescriptor & fd) { fd.descriptorIs(pipe.reader()); },
       [](FileDescriptor & fd) { fd.notifyOnReadableIs(true); },
       [](FileDescriptor & fd) { fd.notifyOnWritableIs(true); },
       [](FileDescriptor & fd) { fd.nonBlockingIs(true); }};
   for (auto const & mutate : mutators) {
      auto made = Pelm::make<FileDescriptor>("brief");
      FileDescriptor & bare = *made;
      Dropper const dropper{std::exchange(made, nullptr)};
      mutate(bare);
      EXPECT_TRUE(dropper.dropped());
   }
   pipe.fill();
   EXPECT_EQ(Vorn::Host::turn(), Vorn::Host::Turn::idle);
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
