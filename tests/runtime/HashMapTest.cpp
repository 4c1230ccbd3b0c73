#include "runtime/Vorn/HashMap2018.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"

namespace {

// Values on the heap, so that the sanitizers see every access to a member that is gone.
using Map = Vorn::HashMap2018<Pelm::String, std::string>;
using Seen = std::vector<std::string>;

std::string longText(std::string const & key) {
   return "the value of " + key + ", too long for the string object itself";
}

void fill(Map & map, std::initializer_list<char const *> keys) {
   for (char const * const key : keys)
      map.insert(key, longText(key));
}

// Walks the map, checks each member, and calls `at` on each.
Seen walk(Map & map, std::function<void(std::string const &)> const & at) {
   Seen seen;
   for (auto const member : map) {
      EXPECT_EQ(member.value, longText(member.key.str()));
      seen.push_back(member.key.str());
      at(member.key.str());
   }
   return seen;
}

TEST(HashMap2018Test, FindsInsertsAndErases) {
   Map map;
   EXPECT_TRUE(map.empty());
   EXPECT_EQ(map.find("a"), nullptr);
   EXPECT_EQ(map.insert("a", "1"), "1");
   ASSERT_NE(map.find("a"), nullptr);
   *map.find("a") = "2";
   EXPECT_EQ(*map.find("a"), "2");
   EXPECT_TRUE(map.contains("a"));
   EXPECT_FALSE(map.erase("b"));
   EXPECT_TRUE(map.erase("a"));
   EXPECT_EQ(map.size(), 0U);
   map.clear();
   EXPECT_TRUE(map.begin() == map.end());
}

TEST(HashMap2018Test, AcceptsNumbersAsKeys) {
   Vorn::HashMap2018<std::uint32_t, int> map;
   map.insert(4000000000U, 1);
   map.insert(0, 2);
   EXPECT_EQ(*map.find(4000000000U), 1);
   EXPECT_FALSE(map.contains(1));
}

TEST(HashMap2018Test, ContinuesAWalkWhoseCurrentMemberIsDeleted) {
   Map map;
   fill(map, {"a", "b", "c"});
   auto walker = map.begin();
   EXPECT_TRUE(map.erase("a"));
   EXPECT_TRUE(walker.stale());
   EXPECT_EQ((*walker).value, longText("a")) << "still readable";
   ++walker;
   EXPECT_FALSE(walker.stale());
   EXPECT_EQ((*walker).key, "b");
   EXPECT_EQ(walk(map, [&](std::string const & key) { map.erase(key); }), (Seen{"b", "c"}));
   EXPECT_TRUE(map.empty());
}

TEST(HashMap2018Test, SkipsMembersDeletedBeforeTheWalkReachedThem) {
   Map map;
   fill(map, {"a", "b", "c", "d"});
   EXPECT_EQ(walk(map,
                  [&](std::string const & key) {
                     if (key == "b")
                        for (char const * const gone : {"a", "b", "c"})
                           map.erase(gone);
                  }),
             (Seen{"a", "b", "d"}));
}

TEST(HashMap2018Test, EndsAWalkWhenAllAreDeleted) {
   Map map;
   fill(map, {"a", "b", "c"});
   EXPECT_EQ(walk(map, [&](std::string const &) { map.clear(); }), (Seen{"a"}));
   EXPECT_TRUE(map.empty());
}

TEST(HashMap2018Test, SkipsMembersInsertedDuringAWalkThroughManyRehashes) {
   Map map;
   fill(map, {"a", "b"});
   int inserted = 0;
   auto const insertMany = [&](std::string const &) {
      for (int i = 0; i < 2000; ++i, ++inserted)
         map.insert(std::to_string(inserted), longText(std::to_string(inserted)));
   };
   EXPECT_EQ(walk(map, insertMany), (Seen{"a", "b"}));
   EXPECT_EQ(map.size(), 4002U);
   EXPECT_EQ(walk(map, [](std::string const &) {}).size(), 4002U);
}

TEST(HashMap2018Test, TreatsAMemberDeletedAndMadeAgainAsNew) {
   Map map;
   fill(map, {"a", "b", "c"});
   EXPECT_EQ(walk(map,
                  [&](std::string const & key) {
                     map.erase(key);
                     map.insert(key, longText(key));
                     map.erase("c");
                     map.insert("c", longText("c"));
                  }),
             (Seen{"a", "b"}));
   EXPECT_EQ(map.size(), 3U);
}

TEST(HashMap2018Test, AllowsItsDestructionUnderWalkers) {
   auto map = std::make_unique<Map>();
   fill(*map, {"a", "b", "c"});
   auto first = map->begin();
   auto second = map->begin();
   ++second;
   auto const third = second;
   map.reset();
   EXPECT_TRUE(first.stale() && second.stale());
   EXPECT_EQ((*first).key, "a");
   EXPECT_EQ((*third).value, longText("b"));
   ++first;
   EXPECT_TRUE(first == std::default_sentinel);
   second++;
   EXPECT_TRUE(second == std::default_sentinel);
}

TEST(HashMap2018Test, AllowsNestedWalksToDeleteUnderEachOther) {
   Map map;
   fill(map, {"a", "b", "c", "d"});
   Seen inner;
   Seen const outer = walk(map, [&](std::string const & at) {
      for (auto const member : map)
         if (member.key != at) {
            inner.push_back(at + member.key.str());
            map.erase(member.key);
         }
   });
   EXPECT_EQ(outer, (Seen{"a"}));
   EXPECT_EQ(inner, (Seen{"ab", "ac", "ad"}));
}

TEST(HashMap2018Test, CopiesAndMovesIteratorsLikeValues) {
   Map map;
   fill(map, {"a", "b"});
   Map::Iterator walker = map.begin();
   Map::Iterator copy = walker;
   ++copy;
   EXPECT_EQ((*walker).key, "a");
   EXPECT_EQ((*copy).key, "b");
   walker = std::move(copy);
   EXPECT_EQ((*walker).key, "b");
   map.clear();
   EXPECT_TRUE(walker.stale());
   EXPECT_TRUE(Map::Iterator{} == std::default_sentinel);
}

// A member whose destructor changes the map it was in.
struct Meddler : public Pelm::Node {
   explicit Meddler(std::function<void()> action) : lastAct{std::move(action)} {}
   ~Meddler() override { lastAct(); }
   std::function<void()> lastAct;
};

TEST(HashMap2018Test, AllowsDestructorsOfMembersToChangeItWhileItIsCleared) {
   Vorn::HashMap2018<Pelm::String, Pelm::Ptr<Meddler>> map;
   int inserted = 0;
   auto const none = [] {};
   map.insert("a", Pelm::make<Meddler>([&] { map.erase("b"); }));
   map.insert("b", Pelm::make<Meddler>([&] { ++inserted; }));
   map.insert("c", Pelm::make<Meddler>([&] { map.insert("late", Pelm::make<Meddler>(none)); }));
   map.clear();
   EXPECT_EQ(inserted, 1);
   ASSERT_EQ(map.size(), 1U) << "what came meanwhile is a member like any other";
   EXPECT_TRUE(map.contains("late"));
}

TEST(HashMap2018Test, AllowsDestructorsOfMembersToInsertIntoADyingMap) {
   int gone = 0;
   {
      Vorn::HashMap2018<Pelm::String, Pelm::Ptr<Meddler>> map;
      map.insert("a", Pelm::make<Meddler>([&] {
                    ++gone;
                    map.insert("late", Pelm::make<Meddler>([&] { ++gone; }));
                 }));
   }
   EXPECT_EQ(gone, 2);
}

// The same in words: which members a walk must see, kept by names and serial numbers.
class Model {
 public:
   void insert(int key) { members_[key] = ++serial_; }
   void erase(int key) { members_.erase(key); }
   void clear() { members_.clear(); }
   std::map<int, int> const & members() const { return members_; }

 private:
   std::map<int, int> members_;
   int serial_ = 0;
};

struct Walker {
   Vorn::HashMap2018<int, std::string>::Iterator position;
   std::map<int, int> unseen;  // members at the start, with their serial numbers
};

TEST(HashMap2018Test, MatchesANaiveModelInRandomWalksAndChanges) {
   std::mt19937 random{2018};
   for (int round = 0; round < 60; ++round) {
      auto map = std::make_unique<Vorn::HashMap2018<int, std::string>>();
      Model model;
      std::vector<Walker> walkers;
      for (int step = 0; step < 400; ++step) {
         int const key = static_cast<int>(random() % 24);
         switch (random() % 6) {
            case 0:
            case 1:
               if (!map->contains(key)) {
                  map->insert(key, longText(std::to_string(key)));
                  model.insert(key);
               }
               break;
            case 2:
               ASSERT_EQ(map->erase(key), model.members().contains(key));
               model.erase(key);
               break;
            case 3:
               if (walkers.size() < 6)
                  walkers.push_back({map->begin(), model.members()});
               break;
            case 4:
               if (step % 50 == 0) {
                  map->clear();
                  model.clear();
               }
               break;
            default:
               for (Walker & walker : walkers) {
                  if (walker.position == std::default_sentinel)
                     continue;
                  int const at = (*walker.position).key;
                  ASSERT_EQ((*walker.position).value, longText(std::to_string(at)));
                  auto const member = model.members().find(at);
                  bool const live = member != model.members().end() && walker.unseen.contains(at) &&
                                    member->second == walker.unseen.at(at);
                  ASSERT_EQ(walker.position.stale(), !live);
                  ASSERT_EQ(walker.unseen.erase(at), 1U) << "seen twice, or not there at the start";
                  ++walker.position;
               }
               std::erase_if(walkers, [&](Walker const & walker) {
                  if (!(walker.position == std::default_sentinel))
                     return false;
                  for (auto const & [at, serial] : walker.unseen)
                     EXPECT_TRUE(!model.members().contains(at) || model.members().at(at) != serial)
                         << "missed";
                  return true;
               });
         }
         ASSERT_EQ(map->size(), model.members().size());
      }
      map.reset();
      for (Walker & walker : walkers)
         while (!(walker.position == std::default_sentinel))
            ++walker.position;
   }
}

}  // namespace
