#include "runtime/Pelm/Delivery.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "runtime/Vorn/ActivityManager.h"
#include "runtime/host/Failure.h"
#include "tests/runtime/House.h"

namespace {

using RuntimeTest::House;
using RuntimeTest::Watcher;
using Events = std::vector<std::string>;

class DeliveryTest : public testing::Test {
 protected:
   Pelm::Ptr<House> house = Pelm::make<House>();
   Events events;
};

TEST_F(DeliveryTest, NotifiesOfTheOutermostChangeBeforeItsMutatorReturns) {
   Watcher const first{house, events, "1"};
   Watcher const second{house, events, "2"};
   house->doorIs(1);
   EXPECT_EQ(events, (Events{"1:door 0>1", "2:door 0>1"}));
   EXPECT_FALSE(Pelm::delivery.busy());
}

TEST_F(DeliveryTest, RaisesWithARemedyWhenSubscribedBeforeTheNotifierIsSet) {
   struct Machine {
      void handleDoor() {}
   } machine;
   Vorn::NotifieeConst reactor;
   EXPECT_DEATH(reactor.on<&Machine::handleDoor>(house->door, machine),
                "call notifierIs with their owner before on");
   reactor.notifierIs(Pelm::make<House>());
   EXPECT_DEATH(reactor.on<&Machine::handleDoor>(house->door, machine),
                "call notifierIs with their owner before on");
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

TEST_F(DeliveryTest, AllowsASubscriberToUnsubscribeItself) {
   Watcher first{house, events, "1"};
   Watcher const second{house, events, "2"};
   first.then = [&] { first.reactor.notifierIs(nullptr); };
   house->doorIs(1);
   house->doorIs(2);
   EXPECT_EQ(events, (Events{"1:door 0>1", "2:door 0>1", "2:door 1>2"}));
}

TEST_F(DeliveryTest, AllowsASubscriberToDestroyOneBeforeItAndOneAfterIt) {
   auto first = std::make_unique<Watcher>(house, events, "1");
   Watcher second{house, events, "2"};
   auto third = std::make_unique<Watcher>(house, events, "3");
   Watcher const fourth{house, events, "4"};
   second.then = [&] {
      first.reset();
      third.reset();
   };
   house->doorIs(1);
   EXPECT_EQ(events, (Events{"1:door 0>1", "2:door 0>1", "4:door 0>1"}));
   house->doorIs(2);
   EXPECT_EQ(events.size(), 5U);
}

TEST_F(DeliveryTest, AllowsASubscriberToDestroyEverybodyAndItself) {
   std::vector<std::unique_ptr<Watcher>> all;
   for (char const * const name : {"1", "2", "3"})
      all.push_back(std::make_unique<Watcher>(house, events, name));
   all[1]->then = [&] { all.clear(); };
   house->doorIs(1);
   EXPECT_EQ(events, (Events{"1:door 0>1", "2:door 0>1"}));
   EXPECT_FALSE(house->door.publisher().hasSubscribers());
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

TEST_F(DeliveryTest, AllowsASubscriberToDropTheLastPointerToTheNotifier) {
   bool gone = false;
   auto brief = Pelm::make<House>(gone);
   House * const bare = brief.get();
   Watcher first{brief, events, "1"};
   Watcher second{brief, events, "2"};
   first.then = [&] {
      bare->doorIs(2);
      brief = nullptr;
      first.reactor.notifierIs(nullptr);
      second.reactor.notifierIs(nullptr);
      EXPECT_FALSE(gone) << "it lives until the change is delivered";
   };
   bare->doorIs(1);
   EXPECT_TRUE(gone);
   EXPECT_EQ(events, (Events{"1:door 0>1"}));
}

TEST_F(DeliveryTest, DestroysANotifierWithoutUsersAfterAllAreNotified) {
   bool gone = false;
   auto brief = Pelm::make<House>(gone);
   House * const bare = brief.get();
   Watcher first{brief, events, "1"};
   first.then = [&] {
      brief = nullptr;
      first.reactor.notifierIs(nullptr);
      EXPECT_FALSE(gone) << "its mutator has not returned";
      EXPECT_EQ(bare->door(), 1);
   };
   bare->doorIs(1);
   EXPECT_TRUE(gone);
}

TEST_F(DeliveryTest, KeepsANotifierThatGetsANewUserWhileItNotifies) {
   bool gone = false;
   auto brief = Pelm::make<House>(gone);
   House * const bare = brief.get();
   Pelm::Ptr<House> again;
   Watcher first{brief, events, "1"};
   first.then = [&] {
      brief = nullptr;
      first.reactor.notifierIs(nullptr);
      again = Pelm::Ptr<House>{bare};
   };
   bare->doorIs(1);
   EXPECT_FALSE(gone);
   again = nullptr;
   EXPECT_TRUE(gone);
}

TEST_F(DeliveryTest, KeepsTheNotifierOfAQueuedChangeUntilItIsDelivered) {
   bool gone = false;
   auto other = Pelm::make<House>(gone);
   House * const bare = other.get();
   auto watcher = std::make_unique<Watcher>(other, events, "other");
   Watcher const first{house, events, "1", [&] {
                          bare->doorIs(1);
                          other = nullptr;
                          watcher.reset();
                          EXPECT_FALSE(gone);
                       }};
   house->doorIs(1);
   EXPECT_TRUE(gone);
   EXPECT_EQ(events, (Events{"1:door 0>1"})) << "the delivery to a gone subscriber is dropped";
}

TEST_F(DeliveryTest, AllowsAReactorToDestroyItselfWithQueuedDeliveries) {
   auto own = std::make_unique<Watcher>(house, events, "own");
   Watcher const other{house, events, "other"};
   own->then = [&] {
      house->doorIs(2);
      house->lampIs("hall", 1);
      own.reset();
   };
   house->doorIs(1);
   EXPECT_EQ(events, (Events{"own:door 0>1", "other:door 0>1", "other:door 1>2", "other:lamp hall none>1"}));
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

TEST_F(DeliveryTest, DeliversAChangeMadeByTheEndOfAQueuedNotifier) {
   struct Last : public House {
      explicit Last(Pelm::Ptr<House> heir) : heir_{std::move(heir)} {}
      ~Last() override { heir_->doorIs(99); }
      Pelm::Ptr<House> heir_;
   };
   Pelm::Ptr<House> last = Pelm::make<Last>(house);
   House * const bare = last.get();
   auto watcher = std::make_unique<Watcher>(last, events, "last");
   auto const trigger = Pelm::make<House>();
   Watcher const own{house, events, "own"};
   Watcher const first{trigger, events, "t", [&] {
                          bare->doorIs(1);
                          last = nullptr;
                          watcher.reset();
                       }};
   trigger->doorIs(1);
   EXPECT_EQ(events, (Events{"t:door 0>1", "own:door 0>99"}));
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

// Handlers of all shapes, to ask which cells they fit.
struct Shapes {
   void nothing() {}
   void key(Pelm::String const &) {}
   void change(Vorn::Change<int> const &) {}
   void both(Pelm::String const &, Vorn::Change<int> const &) {}
   void index(std::size_t) {}
   void wideChange(Vorn::Change<long> const &) {}
   void view(std::string_view) {}
};
using Door = decltype(House::door);
using Lamp = decltype(House::lamp);
using Guest = decltype(House::guest);
template <auto handler, class Cell>
constexpr bool fits = Vorn::detail::Call<handler>::template fits<Cell>;

static_assert(fits<&Shapes::nothing, Door> && fits<&Shapes::nothing, Lamp>);
static_assert(fits<&Shapes::change, Door> && fits<&Shapes::change, Lamp>);
static_assert(fits<&Shapes::key, Lamp> && fits<&Shapes::both, Lamp> && fits<&Shapes::index, Guest>);
static_assert(!fits<&Shapes::key, Door>, "a scalar has no key");
static_assert(!fits<&Shapes::key, Guest>, "a queue's key is an index");
static_assert(!fits<&Shapes::change, Guest> && !fits<&Shapes::both, Guest>, "wrong value type");
static_assert(!fits<&Shapes::wideChange, Door> && !fits<&Shapes::wideChange, Lamp>, "nothing is converted");
static_assert(!fits<&Shapes::view, Lamp>, "nor are keys");

class EveryShape {
 public:
   EveryShape(Pelm::Ptr<House> const & house, Events & events) : events_{events} {
      reactor_.notifierIs(house);
      reactor_.on<&EveryShape::nothing>(house->lamp, *this);
      reactor_.on<&EveryShape::key>(house->lamp, *this);
      reactor_.on<&EveryShape::change>(house->lamp, *this);
      reactor_.on<&EveryShape::both>(house->lamp, *this);
      reactor_.on<&EveryShape::index>(house->guest, *this);
      reactor_.hasNotificationActiveIs(true);
   }

 private:
   void nothing() { events_.emplace_back("nothing"); }
   void key(Pelm::String const & key) { events_.push_back("key " + key.str()); }
   void change(Vorn::Change<int> const & change) {
      events_.push_back("change " + RuntimeTest::text(change.now));
   }
   void both(Pelm::String const & key, Vorn::Change<int> change) {
      events_.push_back(key.str() + " " + RuntimeTest::text(change.now));
   }
   void index(std::size_t index) { events_.push_back("index " + std::to_string(index)); }

   Events & events_;
   Vorn::NotifieeConst reactor_;
};

TEST_F(DeliveryTest, CallsHandlersOfNothingKeyChangeOrBoth) {
   EveryShape const shapes{house, events};
   house->lampIs("hall", 4);
   house->guestPush("Ann");
   EXPECT_EQ(events, (Events{"nothing", "key hall", "change 4", "hall 4", "index 0"}));
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

TEST_F(DeliveryTest, ReleasesTheSubscribersOfAPublisherThatGoesFirst) {
   auto publisher = std::make_unique<Pelm::Publisher>();
   Pelm::Subscriber first{[](Pelm::Subscriber &, void const *, void const *) noexcept {}, nullptr};
   Pelm::Subscriber second{[](Pelm::Subscriber &, void const *, void const *) noexcept {}, nullptr};
   publisher->subscriberAdd(first);
   publisher->subscriberAdd(second);
   EXPECT_TRUE(publisher->hasSubscribers());
   publisher.reset();
   Pelm::Publisher another;
   another.subscriberAdd(first);
   another.subscriberRemove(first);
   EXPECT_FALSE(another.hasSubscribers());
}

}  // namespace
