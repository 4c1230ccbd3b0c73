// Use counts under threads. Also run under ThreadSanitizer, which is why it stands alone.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "tests/runtime/House.h"

namespace {

using Pelm::Node;
using Pelm::Ptr;

class ThreadsTest : public testing::Test {
 protected:
   ThreadsTest() { Pelm::threadsEnabledIs(true); }
   ~ThreadsTest() override { Pelm::threadsEnabledIs(false); }

   static void together(int count, std::function<void()> const & work) {
      std::vector<std::thread> threads;
      threads.reserve(static_cast<std::size_t>(count));
      for (int i = 0; i < count; ++i)
         threads.emplace_back(work);
      for (std::thread & thread : threads)
         thread.join();
   }
};

class Counted : public Node {
 public:
   Counted(std::atomic<int> & destroyed, std::atomic<int> & tornDown)
       : destroyed_{destroyed}, tornDown_{tornDown} {}
   ~Counted() override { ++destroyed_; }
   void vornDoZombieReactors(bool) override { ++tornDown_; }
   int payload = 0;  // plain: a reader after the last drop would race with the destructor

 private:
   std::atomic<int> & destroyed_;
   std::atomic<int> & tornDown_;
};

TEST_F(ThreadsTest, SwitchesTheWholeProcessReadably) {
   EXPECT_TRUE(Pelm::threadsEnabled());
   Pelm::threadsEnabledIs(false);
   EXPECT_FALSE(Pelm::threadsEnabled());
   Pelm::threadsEnabledIs(true);
   EXPECT_TRUE(Pelm::threadsEnabled());
}

TEST_F(ThreadsTest, CountsRightAfterCopyingAndDropping) {
   std::atomic<int> destroyed = 0;
   std::atomic<int> tornDown = 0;
   Ptr<Counted> shared = Pelm::make<Counted>(destroyed, tornDown);
   constexpr int rounds = 20000;
   together(4, [&] {
      Ptr<Counted> mine = shared;
      for (int i = 0; i < rounds; ++i) {
         Ptr<Counted const> const reading = mine;
         Ptr<Counted> another{mine};
         mine = std::move(another);
      }
   });
   EXPECT_EQ(shared->useCount(), 1U);
   EXPECT_EQ(destroyed, 0);
   shared = nullptr;
   EXPECT_EQ(destroyed, 1);
}

TEST_F(ThreadsTest, DestroysTheNodeOnceAtTheLastDropOnAnyThread) {
   for (int round = 0; round < 200; ++round) {
      std::atomic<int> destroyed = 0;
      std::atomic<int> tornDown = 0;
      std::vector<Ptr<Counted>> pointers(4, Pelm::make<Counted>(destroyed, tornDown));
      std::atomic<std::size_t> next = 0;
      together(4, [&] {
         Ptr<Counted> mine = std::move(pointers[next++]);
         EXPECT_EQ(mine->payload, 0);
         mine = nullptr;
      });
      ASSERT_EQ(destroyed, 1);
      ASSERT_EQ(tornDown, 1);
   }
}

// A node that hands itself out while it is torn down, to a thread that drops it at about the same time.
class Escaping : public Node {
 public:
   Escaping(std::atomic<int> & destroyed, std::atomic<Node *> & way) : destroyed_{destroyed}, way_{way} {}
   ~Escaping() override { ++destroyed_; }
   void vornDoZombieReactors(bool) override {
      useCountInc();
      way_ = this;
   }

 private:
   std::atomic<int> & destroyed_;
   std::atomic<Node *> & way_;
};

TEST_F(ThreadsTest, AllowsAPointerTakenDuringTearDownToGoOnAnotherThread) {
   for (int round = 0; round < 200; ++round) {
      std::atomic<int> destroyed = 0;
      std::atomic<Node *> way = nullptr;
      Ptr<Escaping> node = Pelm::make<Escaping>(destroyed, way);
      std::thread receiver{[&] {
         while (!way)
            std::this_thread::yield();
         way.load()->useCountDec();
      }};
      node = nullptr;
      receiver.join();
      ASSERT_EQ(destroyed, 1);
   }
}

TEST_F(ThreadsTest, SetsFlagsBesideAChangingCountWithoutHarm) {
   std::atomic<int> destroyed = 0;
   std::atomic<int> tornDown = 0;
   Ptr<Counted> const shared = Pelm::make<Counted>(destroyed, tornDown);
   std::thread flags{[&] {
      for (int i = 0; i < 5000; ++i)
         shared->nodeFlagSet(Node::Flag::zombie, i % 2 == 0);
   }};
   together(2, [&] {
      for (int i = 0; i < 5000; ++i) {
         Ptr<Node const> const mine = shared;
         EXPECT_GE(mine->useCount(), 2U);
      }
   });
   flags.join();
   EXPECT_FALSE(shared->nodeFlag(Node::Flag::zombie));
   EXPECT_EQ(shared->useCount(), 1U);
}

TEST_F(ThreadsTest, KeepsTheNotifierOfAChangeUntilItIsDelivered) {
   bool gone = false;
   auto house = Pelm::make<RuntimeTest::House>(gone);
   RuntimeTest::House * const bare = house.get();
   std::vector<std::string> events;
   RuntimeTest::Watcher watcher{house, events, "w"};
   watcher.then = [&] {
      watcher.reactor.notifierIs(nullptr);
      std::thread{[&] { house = nullptr; }}.join();
      EXPECT_FALSE(gone);
   };
   bare->doorIs(1);
   EXPECT_TRUE(gone);
   EXPECT_EQ(events.size(), 1U);
}

}  // namespace
