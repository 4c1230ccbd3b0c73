// A machine that loses its last user in the middle of what it publishes. Its reactors are off at once, and it
// stays whole until it has published.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "runtime/Pelm/Node.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/host/Loop.h"
#include "tests/runtime/House.h"
#include "tests/support/VirtualTimeTest.h"

namespace {

using RuntimeTest::House;
using RuntimeTest::Watcher;
using Events = std::vector<std::string>;

// A machine as those of the library: it watches a house, has a clock, and publishes attributes of its own. It
// neither stops its reactors nor keeps itself whole: the runtime does.
class Machine : public House {
 public:
   Machine(Pelm::Ptr<House> const & watched, Events & events, bool & gone) : House{gone}, events_{events} {
      reactor_.notifierIs(watched);
      reactor_.on<&Machine::handleWatched>(watched->door, *this);
      reactor_.hasNotificationActiveIs(true);
   }
   void vornDoZombieReactors(bool) override { events_.push_back("machine:zombie"); }

 private:
   // Publishes twice, as a machine that counts and then reports.
   void handleWatched() {
      events_.push_back("machine:watched");
      visitsInc(1);
      doorIs(door() + 1);
   }
   void handleClock() {
      events_.push_back("machine:clock");
      visitsInc(1);
      doorIs(door() + 1);
   }

   Events & events_;
   Vorn::Clock::Notifiee<&Machine::handleClock> clock_{*this, 1005};
   Vorn::NotifieeConst reactor_;
};

class LastUserTest : public Support::VirtualTimeTest {
 protected:
   // The host's reaction to a notification: it releases the machine, then changes the node that the machine
   // watched.
   void letGo() {
      host.reactor.notifierIs(nullptr);
      machine = nullptr;
      EXPECT_FALSE(gone) << "its mutator has not returned";
      watched->doorIs(watched->door() + 10);
   }

   Events events;
   bool gone = false;
   Pelm::Ptr<House> watched = Pelm::make<House>();
   Pelm::Ptr<Machine> machine = Pelm::make<Machine>(watched, events, gone);
   House & bare = *machine;
   Watcher host{machine, events, "host"};
};

TEST_F(LastUserTest, StopsReactorsAtOnceWhenItGoesInTheMachinesOwnChange) {
   host.then = [&] { letGo(); };
   bare.doorIs(1);
   EXPECT_TRUE(gone);
   Vorn::Host::runFor(100);
   EXPECT_EQ(events, (Events{"host:door 0>1", "machine:zombie"}));
}

TEST_F(LastUserTest, LeavesOthersToBeNotifiedOfTheChange) {
   auto other = std::make_unique<Watcher>(machine, events, "other");
   host.then = [&] { letGo(); };
   // It watches, so it is a user; it releases the machine after its notification.
   other->then = [&] { other->reactor.notifierIs(nullptr); };
   bare.doorIs(1);
   EXPECT_TRUE(gone);
   EXPECT_EQ(events, (Events{"host:door 0>1", "other:door 0>1", "machine:zombie"}))
       << "the house changed while the other was still its user, and the news were dropped with it";
}

TEST_F(LastUserTest, StopsReactorsAtOnceWhenItGoesWhileAChangeIsQueued) {
   Pelm::Ptr<House> const trigger = Pelm::make<House>();
   Watcher const first{trigger, events, "trigger", [&] {
                          watched->doorIs(5);  // both are queued behind the trigger's change
                          bare.doorIs(1);
                          letGo();
                       }};
   trigger->doorIs(1);
   EXPECT_TRUE(gone);
   EXPECT_EQ(events, (Events{"trigger:door 0>1", "machine:zombie"}));
}

TEST_F(LastUserTest, KeepsTheMachineWholeToTheEndOfItsOwnHandler) {
   host.then = [&] { letGo(); };
   watched->doorIs(1);
   EXPECT_TRUE(gone);
   EXPECT_EQ(events, (Events{"machine:watched", "host:door 0>1", "machine:zombie"}));
}

TEST_F(LastUserTest, LeavesTheClocksHandlerWholeWhenItGoesWithin) {
   host.then = [&] { letGo(); };
   Vorn::Host::runFor(100);
   EXPECT_TRUE(gone);
   EXPECT_EQ(events, (Events{"machine:clock", "host:door 0>1", "machine:zombie"}));
}

TEST_F(LastUserTest, FinishesTheDeletionOfAllMembersWhenItGoesWithin) {
   bare.lampIs("a", 1);
   bare.lampIs("b", 2);
   events.clear();
   host.then = [&] { letGo(); };
   bare.lampDelAll();
   EXPECT_TRUE(gone);
   EXPECT_EQ(events, (Events{"host:lamp a 1>none", "machine:zombie"}));
}

TEST_F(LastUserTest, FinishesTheEmptyingOfAQueueWhenItGoesWithin) {
   bare.guestPush("a");
   bare.guestPush("b");
   events.clear();
   host.then = [&] { letGo(); };
   bare.guestPopAll();
   EXPECT_TRUE(gone);
   EXPECT_EQ(events, (Events{"host:guest 0 a>none", "machine:zombie"}));
}

TEST_F(LastUserTest, KeepsReactorsOffWhenTheMachineGetsANewUser) {
   Pelm::Ptr<House> again;
   host.then = [&] {
      letGo();
      again = Pelm::Ptr<House>{&bare};
   };
   bare.doorIs(1);
   watched->doorIs(50);
   EXPECT_FALSE(gone);
   EXPECT_TRUE(again->nodeFlag(Pelm::Node::Flag::zombie));
   again = nullptr;
   EXPECT_TRUE(gone);
   EXPECT_EQ(events, (Events{"host:door 0>1", "machine:zombie"})) << "it is torn down once";
}

TEST_F(LastUserTest, DoesNotCountAScopeThatKeepsTheMachineAlive) {
   {
      Pelm::KeepAlive const keepAlive{bare};
      EXPECT_EQ(bare.useCount(), 2U) << "the test's and the watcher's";
      letGo();
      EXPECT_TRUE(bare.nodeFlag(Pelm::Node::Flag::zombie));
      Pelm::KeepAlive const inner{bare};
   }
   EXPECT_TRUE(gone);
}

TEST_F(LastUserTest, DestroysAMachineKeptAliveOutsideOfChangesWithTheScope) {
   Pelm::Ptr<House> held;
   {
      Pelm::KeepAlive const keepAlive{bare};
      host.reactor.notifierIs(nullptr);
      held = machine;
      machine = nullptr;
   }
   EXPECT_FALSE(gone) << "it has a user";
   EXPECT_FALSE(held->nodeFlag(Pelm::Node::Flag::zombie));
   held = nullptr;
   EXPECT_TRUE(gone);
}

TEST_F(LastUserTest, CountsAScopeThatKeepsTheMachineAliveWhileThreadsAreEnabled) {
   Pelm::threadsEnabledIs(true);
   {
      Pelm::KeepAlive const keepAlive{bare};
      host.reactor.notifierIs(nullptr);
      machine = nullptr;
      EXPECT_FALSE(bare.nodeFlag(Pelm::Node::Flag::zombie)) << "another thread might have dropped it";
   }
   Pelm::threadsEnabledIs(false);
   EXPECT_TRUE(gone);
}

TEST(NodeOnStackTest, PublishesAndCanBeKeptAlive) {
   Events events;
   House house;
   Vorn::NotifieeConst const reactor;
   { Pelm::KeepAlive const keepAlive{house}; }
   house.lampIs("a", 1);
   house.lampDelAll();
   EXPECT_TRUE(house.lamp.empty());
}

}  // namespace
