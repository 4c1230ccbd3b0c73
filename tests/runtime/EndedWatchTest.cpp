// Watches of descriptors that end, or start again, while their loop runs.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "tests/runtime/FileDescriptorTest.h"

namespace {

using RuntimeTest::FileDescriptorTest;
using RuntimeTest::Pipe;
using RuntimeTest::Reader;
using Vorn::FileDescriptor;

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

}  // namespace
