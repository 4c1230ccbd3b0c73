// Subscribers and notifiers that end while they are notified.
#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

#include "runtime/Pelm/Delivery.h"
#include "tests/runtime/DeliveryTest.h"

namespace {

using RuntimeTest::DeliveryTest;
using RuntimeTest::Events;
using RuntimeTest::House;
using RuntimeTest::Watcher;

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
