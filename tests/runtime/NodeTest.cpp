#include "runtime/Pelm/Node.h"

#include <gtest/gtest.h>

#include <functional>
#include <type_traits>
#include <typeinfo>
#include <unordered_set>
#include <utility>

#include "runtime/Pelm/Ptr.h"

namespace {

using Pelm::Node;
using Pelm::Ptr;

class Thing : public Node {
 public:
   explicit Thing(int & destroyed) : destroyed_{destroyed} {}
   ~Thing() override {
      if (inDestructor)
         inDestructor(*this);
      ++destroyed_;
   }
   void vornDoZombieReactors(bool zombie) override {
      if (inTearDown)
         inTearDown(*this, zombie);
   }

   std::function<void(Thing &, bool)> inTearDown;
   std::function<void(Thing &)> inDestructor;

 private:
   int & destroyed_;
};

class SpecialThing : public Thing {
 public:
   using Thing::Thing;
};

TEST(NodeTest, LivesAsLongAsOnePointerKeepsIt) {
   int destroyed = 0;
   Ptr<Thing> first = Pelm::make<Thing>(destroyed);
   EXPECT_EQ(first->useCount(), 1U);
   Ptr<Thing> second{first};
   EXPECT_EQ(first->useCount(), 2U);
   first = nullptr;
   EXPECT_EQ(destroyed, 0);
   EXPECT_EQ(second->useCount(), 1U);
   second = nullptr;
   EXPECT_EQ(destroyed, 1);
}

TEST(NodeTest, CountsReadingAndBasePointersToo) {
   int destroyed = 0;
   {
      Ptr<SpecialThing> const special = Pelm::make<SpecialThing>(destroyed);
      Ptr<Thing> const base = special;
      Ptr<Thing const> const reading = base;
      Ptr<Node const> const node = reading;
      EXPECT_EQ(special->useCount(), 4U);
      EXPECT_TRUE(special == reading);
      EXPECT_TRUE(node == special);
   }
   EXPECT_EQ(destroyed, 1);
   static_assert(!std::is_convertible_v<Ptr<Thing const>, Ptr<Thing>>, "reading must not become writing");
   static_assert(!std::is_convertible_v<Thing *, Ptr<Thing>>, "holding must be written out");
}

TEST(NodeTest, OutlivesAssignmentOfAPointerToItself) {
   int destroyed = 0;
   Ptr<Thing> pointer = Pelm::make<Thing>(destroyed);
   Ptr<Thing> & same = pointer;
   pointer = same;
   EXPECT_EQ(pointer->useCount(), 1U);
   pointer = std::move(same);
   ASSERT_TRUE(pointer);
   EXPECT_EQ(pointer->useCount(), 1U);
   EXPECT_EQ(destroyed, 0);
}

TEST(NodeTest, KeepsTheCountWhenPointersMove) {
   int destroyed = 0;
   Ptr<Thing> first = Pelm::make<Thing>(destroyed);
   Ptr<Thing> const second{std::move(first)};
   // NOLINTNEXTLINE(bugprone-use-after-move,clang-analyzer-cplusplus.Move): emptiness is what is promised.
   EXPECT_TRUE(first == nullptr);
   EXPECT_FALSE(Ptr<Thing>{nullptr});
   EXPECT_EQ(second->useCount(), 1U);
   EXPECT_EQ((*second).useCount(), 1U);
}

TEST(NodeTest, KeepsItsFlagsApartFromItsCount) {
   int destroyed = 0;
   Ptr<Thing> const thing = Pelm::make<Thing>(destroyed);
   thing->nodeFlagSet(Node::Flag::zombie, true);
   EXPECT_TRUE(thing->nodeFlag(Node::Flag::zombie));
   EXPECT_FALSE(thing->nodeFlag(Node::Flag::tornDown));
   EXPECT_EQ(thing->useCount(), 1U);
   thing->nodeFlagSet(Node::Flag::zombie, false);
   EXPECT_FALSE(thing->nodeFlag(Node::Flag::zombie));
   EXPECT_EQ(thing->useCount(), 1U);
}

TEST(NodeTest, IsAWholeZombieWhileItsReactorsAreTornDown) {
   int destroyed = 0;
   int tornDown = 0;
   Ptr<Thing> thing = Pelm::make<Thing>(destroyed);
   thing->inTearDown = [&](Thing & zombie, bool stop) {
      ++tornDown;
      EXPECT_TRUE(stop);
      EXPECT_TRUE(zombie.nodeFlag(Node::Flag::zombie));
      EXPECT_EQ(zombie.useCount(), 0U);
      EXPECT_EQ(destroyed, 0);
   };
   thing = nullptr;
   EXPECT_EQ(tornDown, 1);
   EXPECT_EQ(destroyed, 1);
}

TEST(NodeTest, SurvivesPointersThatComeAndGoDuringTearDown) {
   int destroyed = 0;
   Ptr<Thing> thing = Pelm::make<Thing>(destroyed);
   thing->inTearDown = [&](Thing & zombie, bool) {
      for (int i = 0; i < 3; ++i) {
         Ptr<Thing> const passing{&zombie};
         Ptr<Node const> const another{passing};
         EXPECT_EQ(zombie.useCount(), 2U);
      }
      EXPECT_EQ(destroyed, 0);
   };
   thing = nullptr;
   EXPECT_EQ(destroyed, 1);
}

TEST(NodeTest, IsTornDownOnceWhenKeptDuringTearDown) {
   int destroyed = 0;
   int tornDown = 0;
   Ptr<Thing> kept;
   Ptr<Thing> thing = Pelm::make<Thing>(destroyed);
   thing->inTearDown = [&](Thing & zombie, bool) {
      ++tornDown;
      kept = Ptr<Thing>{&zombie};
   };
   thing = nullptr;
   EXPECT_EQ(destroyed, 0);
   ASSERT_EQ(kept->useCount(), 1U);
   EXPECT_TRUE(kept->nodeFlag(Node::Flag::zombie));
   kept = nullptr;
   EXPECT_EQ(tornDown, 1);
   EXPECT_EQ(destroyed, 1);
}

TEST(NodeTest, IsDestroyedOnceThoughADestructorPassesPointersToIt) {
   int destroyed = 0;
   Ptr<Thing> thing = Pelm::make<Thing>(destroyed);
   thing->inDestructor = [](Thing & dying) { Ptr<Thing> const passing{&dying}; };
   thing = nullptr;
   EXPECT_EQ(destroyed, 1);
}

TEST(NodeTest, AllowsItsSuccessorInPlaceBeforeItGoes) {
   int destroyed = 0;
   Ptr<Thing> pointer = Pelm::make<Thing>(destroyed);
   bool sawSuccessor = false;
   Thing const * const old = pointer.get();
   pointer->inTearDown = [&](Thing &, bool) { sawSuccessor = pointer && pointer.get() != old; };
   pointer = Pelm::make<Thing>(destroyed);
   EXPECT_TRUE(sawSuccessor);
   EXPECT_EQ(destroyed, 1);
}

TEST(NodeTest, SupportsPointersInHashedSets) {
   int destroyed = 0;
   Ptr<Thing> const one = Pelm::make<Thing>(destroyed);
   Ptr<Thing> const two = Pelm::make<Thing>(destroyed);
   std::unordered_set<Ptr<Thing>> set{one, two, one};
   EXPECT_EQ(set.size(), 2U);
   EXPECT_TRUE(set.contains(two));
   EXPECT_EQ(one->useCount(), 2U);
}

TEST(NodeTest, KnowsItsClassAndHasNoPublisherOfItsOwn) {
   int destroyed = 0;
   Ptr<Node const> const node = Pelm::make<SpecialThing>(destroyed);
   EXPECT_EQ(node->typeData(), typeid(SpecialThing));
   EXPECT_EQ(node->publisher(), nullptr);
}

TEST(NodeTest, IsDestroyedAtOnceWithoutReactorsOfItsOwn) {
   Ptr<Node> node = Pelm::make<Node>();
   node->vornDoZombieReactors(false);
   EXPECT_EQ(node->useCount(), 1U);
   node = nullptr;
   EXPECT_FALSE(node);
}

}  // namespace
