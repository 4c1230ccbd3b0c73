#include "runtime/Pelm/Delivery.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "runtime/Vorn/ActivityManager.h"
#include "runtime/host/Failure.h"
#include "tests/runtime/DeliveryTest.h"

namespace {

using RuntimeTest::DeliveryTest;
using RuntimeTest::Events;
using RuntimeTest::House;
using RuntimeTest::Watcher;

TEST_F(DeliveryTest, NotifiesOfTheOutermostChangeBeforeItsMutatorReturns) {
   Watcher const first{house, events, "1"};
   Watcher const second{house, events, "2"};
   house->doorIs(1);
   EXPECT_EQ(events, (Events{"1:door 0>1", "2:door 0>1"}));
   EXPECT_FALSE(Pelm::delivery.busy());
}

TEST_F(DeliveryTest, NotifiesNobodyOfAWriteOfTheStoredValue) {
   Watcher const watcher{house, events, "w"};
   house->doorIs(0);
   house->visitsInc(0);
   EXPECT_TRUE(events.empty());
   house->visitsInc(3);
   EXPECT_EQ(house->visits(), 3U);
   EXPECT_TRUE(events.empty()) << "nobody subscribed to visits";
}

TEST_F(DeliveryTest, NotifiesAllOfChangesMadeInHandlersInOrder) {
   Watcher first{house, events, "1"};
   Watcher second{house, events, "2"};
   first.then = [&] {
      if (house->door() < 3)
         house->doorIs(house->door() + 1);
   };
   house->doorIs(1);
   EXPECT_EQ(events,
             (Events{"1:door 0>1", "2:door 0>1", "1:door 1>2", "2:door 1>2", "1:door 2>3", "2:door 2>3"}));
   EXPECT_EQ(house->door(), 3);
}

TEST_F(DeliveryTest, KeepsTheCommonOrderOfChangesOfSeveralAttributes) {
   Watcher first{house, events, "1"};
   Watcher const second{house, events, "2"};
   first.then = [&] {
      first.then = {};
      house->lampIs("hall", 1);
      house->guestPush("Ann");
      house->doorIs(2);
      house->lampDel("hall");
   };
   house->doorIs(1);
   EXPECT_EQ(events, (Events{"1:door 0>1", "2:door 0>1", "1:lamp hall none>1", "2:lamp hall none>1",
                             "1:guest 0 none>Ann", "2:guest 0 none>Ann", "1:door 1>2", "2:door 1>2",
                             "1:lamp hall 1>none", "2:lamp hall 1>none"}));
}

TEST_F(DeliveryTest, ShowsTheNewValueToItsSubscribers) {
   int seen = 0;
   Watcher const watcher{house, events, "w", [&] { seen = house->door(); }};
   house->doorIs(5);
   EXPECT_EQ(seen, 5);
}

TEST_F(DeliveryTest, SkipsANewSubscriberInTheChangeThatMadeIt) {
   Watcher first{house, events, "1"};
   std::unique_ptr<Watcher> late;
   first.then = [&] {
      if (!late)
         late = std::make_unique<Watcher>(house, events, "late");
   };
   house->doorIs(1);
   EXPECT_EQ(events, (Events{"1:door 0>1"}));
   house->doorIs(2);
   EXPECT_EQ(events, (Events{"1:door 0>1", "1:door 1>2", "late:door 1>2"}));
}

TEST_F(DeliveryTest, SkipsANewSubscriberInAChangeThatWasQueuedBeforeIt) {
   Watcher first{house, events, "1"};
   std::unique_ptr<Watcher> late;
   first.then = [&] {
      first.then = {};
      house->doorIs(2);
      late = std::make_unique<Watcher>(house, events, "late");
      house->doorIs(3);
   };
   house->doorIs(1);
   EXPECT_EQ(events, (Events{"1:door 0>1", "1:door 1>2", "1:door 2>3", "late:door 2>3"}));
}

TEST_F(DeliveryTest, NotifiesAReactorSwitchedOffAndOnOnlyOfLaterChanges) {
   Watcher first{house, events, "1"};
   Watcher second{house, events, "2"};
   first.then = [&] {
      first.then = {};
      house->doorIs(2);
      second.reactor.hasNotificationActiveIs(false);
      second.reactor.hasNotificationActiveIs(true);
      house->doorIs(3);
   };
   house->doorIs(1);
   EXPECT_EQ(events, (Events{"1:door 0>1", "1:door 1>2", "1:door 2>3", "2:door 2>3"}));
   second.reactor.hasNotificationActiveIs(false);
   house->doorIs(4);
   EXPECT_EQ(events.back(), "1:door 3>4");
   EXPECT_FALSE(second.reactor.hasNotificationActive());
}

TEST_F(DeliveryTest, NotifiesAMovedReactorOnlyOfItsNewNotifier) {
   auto const other = Pelm::make<House>();
   Watcher watcher{house, events, "w"};
   watcher.reactor.notifierIs(other);
   watcher.reactor.on<&Watcher::handleDoor>(other->door, watcher);
   house->doorIs(1);
   other->doorIs(2);
   EXPECT_EQ(events, (Events{"w:door 0>2"}));
   EXPECT_TRUE(watcher.reactor.notifier() == other);
   EXPECT_EQ(house->useCount(), 1U);
   watcher.reactor.notifierIs(other);
   other->doorIs(3);
   EXPECT_EQ(events.size(), 2U) << "attached to the same one again, it keeps its subscriptions";
}

class Failing {
 public:
   explicit Failing(Pelm::Ptr<House> const & house) {
      reactor_.notifierIs(house);
      reactor_.on<&Failing::handleDoor>(house->door, *this);
      reactor_.on<&Failing::handleLamp>(house->lamp, *this);
      reactor_.hasNotificationActiveIs(true);
   }

 private:
   void handleDoor() { throw std::runtime_error{"the hinge broke"}; }
   void handleLamp(Pelm::String const &) { throw 7; }
   Vorn::NotifieeConst reactor_;
};

TEST_F(DeliveryTest, NotifiesTheOthersAndTheFailureSinkWhenAHandlerRaises) {
   Events failures;
   Vorn::Host::failureSinkIs([&](std::string_view machine, std::string_view what) {
      failures.push_back(std::string{machine} + " - " + std::string{what});
   });
   Watcher const before{house, events, "before"};
   Failing const failing{house};
   Watcher const after{house, events, "after"};
   house->doorIs(1);
   house->lampIs("hall", 1);
   Vorn::Host::failureSinkIs(nullptr);
   EXPECT_EQ(events, (Events{"before:door 0>1", "after:door 0>1", "before:lamp hall none>1",
                             "after:lamp hall none>1"}));
   ASSERT_EQ(failures.size(), 2U);
   EXPECT_NE(failures[0].find("Failing - the hinge broke"), std::string::npos) << failures[0];
   EXPECT_NE(failures[1].find("Failing - an exception that is no std::exception"), std::string::npos);
   EXPECT_FALSE(Pelm::delivery.busy());
}

TEST_F(DeliveryTest, ReportsAFailureOnStandardErrorWithoutAFailureSink) {
   Failing const failing{house};
   testing::internal::CaptureStderr();
   house->doorIs(1);
   std::string const line = testing::internal::GetCapturedStderr();
   EXPECT_NE(line.find("Failing: a handler failed: the hinge broke\n"), std::string::npos) << line;
}

TEST_F(DeliveryTest, CountsReactorsWhileRegistered) {
   auto const before = Vorn::activityManager().registeredNotifiees();
   {
      Vorn::NotifieeConst reactor;
      reactor.isRegisteredNotifieeIs(true);
      reactor.isRegisteredNotifieeIs(true);
      EXPECT_TRUE(reactor.isRegisteredNotifiee());
      EXPECT_EQ(Vorn::activityManager().registeredNotifiees(), before + 1);
   }
   EXPECT_EQ(Vorn::activityManager().registeredNotifiees(), before);
}

TEST_F(DeliveryTest, StopsAMachinesOwnReactorWhenItBecomesAZombie) {
   auto reactor = Pelm::make<Vorn::NotifieeConst>();
   reactor->notifierIs(house);
   reactor->hasNotificationActiveIs(true);
   reactor->vornDoZombieReactors(true);
   EXPECT_FALSE(reactor->hasNotificationActive());
   reactor->vornDoZombieReactors(false);
   EXPECT_TRUE(reactor->hasNotificationActive());
   reactor = nullptr;
   EXPECT_EQ(house->useCount(), 1U);
}

}  // namespace
