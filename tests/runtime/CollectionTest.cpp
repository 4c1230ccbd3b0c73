#include "runtime/Vorn/Collection.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/runtime/House.h"

namespace {

using RuntimeTest::House;
using RuntimeTest::Watcher;
using Events = std::vector<std::string>;

TEST(CollectionTest, AddsReplacesAndDeletesByKey) {
   auto const house = Pelm::make<House>();
   EXPECT_FALSE(house->lamp("hall"));
   house->lampIs("hall", 1);
   house->lampIs("attic", 2);
   house->lampIs("hall", 3);
   EXPECT_EQ(*house->lamp("hall"), 3);
   EXPECT_EQ(house->lamp.size(), 2U);
   EXPECT_TRUE(house->lamp.contains("attic"));
   house->lampDel("attic");
   house->lampDel("attic");
   EXPECT_FALSE(house->lamp.contains("attic"));
   house->lampDelAll();
   EXPECT_TRUE(house->lamp.empty());
   EXPECT_STREQ(house->lamp.id(), "lamp");
}

TEST(CollectionTest, NotifiesOfEachKeyAndNothingElse) {
   auto const house = Pelm::make<House>();
   Events events;
   Watcher const watcher{house, events, "w"};
   house->lampIs("hall", 1);
   house->lampIs("hall", 1);
   house->lampIs("hall", 2);
   house->lampDel("attic");
   house->lampIs("attic", 5);
   house->lampDelAll();
   house->lampDelAll();
   EXPECT_EQ(events, (Events{"w:lamp hall none>1", "w:lamp hall 1>2", "w:lamp attic none>5",
                             "w:lamp hall 2>none", "w:lamp attic 5>none"}));
}

TEST(CollectionTest, DeletesMembersByTheirOwnKey) {
   auto const house = Pelm::make<House>();
   for (char const * const name : {"hall", "attic", "cellar"})
      house->lampIs(name, 1);
   Events events;
   Watcher const watcher{house, events, "w"};
   for (auto const member : house->lamp)
      house->lampDel(member.key);
   EXPECT_TRUE(house->lamp.empty());
   EXPECT_EQ(events.size(), 3U);
}

TEST(CollectionTest, ReadsReplacedValuesAndRecognisesStaleMembersInAWalk) {
   auto const house = Pelm::make<House>();
   house->lampIs("hall", 1);
   house->lampIs("attic", 1);
   auto member = house->lamp.begin();
   house->lampIs("hall", 2);
   EXPECT_EQ((*member).value, 2);
   EXPECT_FALSE(member.stale());
   house->lampDel("hall");
   EXPECT_TRUE(member.stale());
   ++member;
   EXPECT_EQ((*member).key, "attic");
   ++member;
   EXPECT_TRUE(member == house->lamp.end());
}

class Shelf : public Pelm::Node {
 public:
   Vorn::Collection<unsigned, Pelm::Ptr<House>, Shelf> house{*this, "house"};
   void houseIs(unsigned id, Pelm::Ptr<House> member) { house.memberIs(id, std::move(member)); }
   void houseDel(unsigned id) { house.memberDel(id); }
   void houseDelAll() { house.memberDelAll(); }
   ~Shelf() override { houseDelAll(); }
};

TEST(CollectionTest, OwnsItsMembersAndReleasesThem) {
   bool firstGone = false;
   bool secondGone = false;
   auto shelf = Pelm::make<Shelf>();
   shelf->houseIs(1, Pelm::make<House>(firstGone));
   EXPECT_FALSE(shelf->house(2));
   EXPECT_EQ(shelf->house(1)->useCount(), 2U) << "the member's and this lookup's";
   shelf->houseIs(1, Pelm::make<House>(secondGone));
   EXPECT_TRUE(firstGone);
   EXPECT_FALSE(secondGone);
   shelf = nullptr;
   EXPECT_TRUE(secondGone);
}

TEST(CollectionTest, AllowsTheDeletionOfMembersDuringTheirNotification) {
   auto const house = Pelm::make<House>();
   Events events;
   Watcher first{house, events, "1"};
   Watcher const second{house, events, "2"};
   first.then = [&] { house->lampDel("hall"); };
   house->lampIs("hall", 1);
   EXPECT_EQ(events, (Events{"1:lamp hall none>1", "2:lamp hall none>1", "1:lamp hall 1>none",
                             "2:lamp hall 1>none"}));
   EXPECT_TRUE(house->lamp.empty());
}

TEST(CollectionTest, AllowsItsOwnerToGoWhileAllIsDeleted) {
   bool gone = false;
   auto house = Pelm::make<House>(gone);
   House * const bare = house.get();
   for (char const * const name : {"hall", "attic", "cellar"})
      bare->lampIs(name, 1);
   Events events;
   Watcher watcher{house, events, "w"};
   watcher.then = [&] {
      watcher.reactor.notifierIs(nullptr);
      house = nullptr;
   };
   bare->lampDelAll();
   EXPECT_TRUE(gone);
   EXPECT_EQ(events.size(), 1U);
}

// Keeps a copy of a collection by its notifications.
class Mirror {
 public:
   explicit Mirror(Pelm::Ptr<House> const & house) {
      reactor_.notifierIs(house);
      reactor_.on<&Mirror::handleLamp>(house->lamp, *this);
      reactor_.hasNotificationActiveIs(true);
   }
   std::map<std::string, int> const & copy() const { return copy_; }
   bool consistent() const { return consistent_; }

 private:
   void handleLamp(Pelm::String const & key, Vorn::Change<int> const & change) {
      auto const known = copy_.find(key.str());
      consistent_ =
          consistent_ && change.old == (known == copy_.end() ? Vorn::Optional<int>{} : known->second);
      if (change.now)
         copy_[key.str()] = *change.now;
      else
         copy_.erase(key.str());
   }

   std::map<std::string, int> copy_;
   bool consistent_ = true;
   Vorn::NotifieeConst reactor_;
};

TEST(CollectionTest, KeepsMirrorsInStepWhateverOtherHandlersChange) {
   std::mt19937 random{5};
   auto const house = Pelm::make<House>();
   Events events;
   int budget = 0;
   auto const change = [&] {
      Pelm::String const name{std::to_string(random() % 8)};
      if (random() % 3 == 0)
         house->lampDel(name);
      else
         house->lampIs(name, static_cast<int>(random() % 4));
   };
   Watcher meddler{house, events, "m"};
   meddler.then = [&] {
      for (; budget > 0 && random() % 4 != 0; --budget)
         change();
   };
   Mirror const mirror{house};
   for (int round = 0; round < 500; ++round) {
      budget = 20;
      change();
      std::map<std::string, int> actual;
      for (auto const member : house->lamp)
         actual[member.key.str()] = member.value;
      ASSERT_TRUE(mirror.consistent());
      ASSERT_EQ(mirror.copy(), actual);
   }
}

}  // namespace
