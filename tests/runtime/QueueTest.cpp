#include "runtime/Vorn/Queue.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/runtime/House.h"

namespace {

using RuntimeTest::House;
using RuntimeTest::Watcher;
using Events = std::vector<std::string>;

TEST(QueueTest, KeepsItsElementsInOrder) {
   auto const house = Pelm::make<House>();
   house->guestPush("Ann");
   house->guestPush("Bob");
   house->guestPush("Cid");
   EXPECT_EQ(house->guest.front(), "Ann");
   EXPECT_EQ(house->guest.back(), "Cid");
   EXPECT_EQ(house->guest(1), "Bob");
   house->guestPop();
   EXPECT_EQ(house->guest.front(), "Bob");
   std::string all;
   for (Pelm::String const & guest : house->guest)
      all += guest.str();
   EXPECT_EQ(all, "BobCid");
   EXPECT_STREQ(house->guest.id(), "guest");
}

TEST(QueueTest, RaisesOutOfRangeAndAtTheEndsOfAnEmptyOne) {
   auto const house = Pelm::make<House>();
   EXPECT_TRUE(house->guest.empty());
   EXPECT_THROW(house->guest.front(), Vorn::EmptyVector);
   EXPECT_THROW(house->guest.back(), Vorn::EmptyVector);
   EXPECT_THROW(house->guestPop(), Vorn::EmptyVector);
   EXPECT_THROW(house->guest(0), Vorn::VectorOutOfRange);
   house->guestPush("Ann");
   EXPECT_THROW(house->guest(1), Vorn::VectorOutOfRange);
   EXPECT_THROW(house->guestIs(1, "Bob"), Vorn::VectorOutOfRange);
   EXPECT_NO_THROW(house->guestPopAll());
   EXPECT_NO_THROW(house->guestPopAll());
   EXPECT_STREQ(Vorn::EmptyVector{}.what(), "an end of an empty queue was accessed");
   EXPECT_STREQ(Vorn::VectorOutOfRange{}.what(), "a queue was accessed outside its range");
}

TEST(QueueTest, NotifiesOfEachChangeWithItsIndex) {
   auto const house = Pelm::make<House>();
   Events events;
   Watcher const watcher{house, events, "w"};
   house->guestPush("Ann");
   house->guestPush("Bob");
   house->guestIs(1, "Cid");
   house->guestIs(1, "Cid");
   house->guestPopAll();
   EXPECT_EQ(events, (Events{"w:guest 0 none>Ann", "w:guest 1 none>Bob", "w:guest 1 Bob>Cid",
                             "w:guest 0 Ann>none", "w:guest 0 Cid>none"}));
}

TEST(QueueTest, KeepsElementsThatArePushedWhileAllArePopped) {
   auto const house = Pelm::make<House>();
   Events events;
   house->guestPush("Ann");
   house->guestPush("Bob");
   Watcher watcher{house, events, "w"};
   watcher.then = [&] {
      if (house->guest.size() == 1 && house->guest.front() == "Bob")
         house->guestPush("late");
   };
   house->guestPopAll();
   ASSERT_EQ(house->guest.size(), 1U);
   EXPECT_EQ(house->guest.front(), "late");
}

TEST(QueueTest, IsEmptyWhereASubscriberTakesTheRest) {
   auto const house = Pelm::make<House>();
   Events events;
   house->guestPush("Ann");
   house->guestPush("Bob");
   Watcher watcher{house, events, "w"};
   watcher.then = [&] { house->guestPopAll(); };
   house->guestPopAll();
   EXPECT_TRUE(house->guest.empty());
   EXPECT_EQ(events, (Events{"w:guest 0 Ann>none", "w:guest 0 Bob>none"}));
}

TEST(QueueTest, AllowsItsOwnerToGoWhileItIsEmptied) {
   bool gone = false;
   auto house = Pelm::make<House>(gone);
   House * const bare = house.get();
   Events events;
   bare->guestPush("Ann");
   bare->guestPush("Bob");
   Watcher watcher{house, events, "w"};
   watcher.then = [&] {
      watcher.reactor.notifierIs(nullptr);
      house = nullptr;
   };
   bare->guestPopAll();
   EXPECT_TRUE(gone);
   EXPECT_EQ(events, (Events{"w:guest 0 Ann>none"}));
}

}  // namespace
