#include "runtime/Vorn/EachMember.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/Vorn/Collection.h"
#include "runtime/host/Failure.h"
#include "tests/runtime/House.h"
#include "tests/support/VirtualTimeTest.h"

namespace {

using RuntimeTest::House;

class Street : public Pelm::Node {
 public:
   Vorn::Collection<Pelm::String, Pelm::Ptr<House>, Street> house{*this, "house"};
   Pelm::Ptr<House> houseIs(Pelm::String const & name) {
      house.memberIs(name, Pelm::make<House>());
      return house(name);
   }
   void houseDel(Pelm::String const & name) { house.memberDel(name); }
};

class Postman : public Pelm::Node {
 public:
   void handleDoor(Pelm::String const & name, Vorn::Change<int> const & change) {
      note(name.str() + " door " + RuntimeTest::text(change.old) + ">" + RuntimeTest::text(change.now));
   }
   void handleVisits(Pelm::String const & name) { note(name.str() + " visits"); }

   std::vector<std::string> events;
   std::function<void()> then;
   Vorn::EachMember<&Postman::handleDoor, &Street::house, &House::door> doors{*this};
   Vorn::EachMember<&Postman::handleVisits, &Street::house, &House::visits> visits{*this};

 private:
   void note(std::string const & what) {
      events.push_back(what);
      if (then)
         then();
      events.back() += '.';
   }
};

class EachMemberTest : public Support::VirtualTimeTest {
 protected:
   EachMemberTest() {
      postman->doors.notifierIs(street);
      postman->visits.notifierIs(street);
   }

   Pelm::Ptr<Street> street = Pelm::make<Street>();
   Pelm::Ptr<House> first = street->houseIs("first");
   Pelm::Ptr<Postman> postman = Pelm::make<Postman>();
};

TEST_F(EachMemberTest, WatchesTheMembersThatAreThere) {
   first->doorIs(1);
   EXPECT_EQ(postman->events, (std::vector<std::string>{"first door 0>1."}));
}

TEST_F(EachMemberTest, WatchesAMemberThatComesLater) {
   street->houseIs("second")->visitsInc(1);
   EXPECT_EQ(postman->events, (std::vector<std::string>{"second visits."}));
}

TEST_F(EachMemberTest, LeavesAMemberThatGoes) {
   street->houseDel("first");
   first->doorIs(1);
   EXPECT_TRUE(postman->events.empty());
   EXPECT_EQ(first->useCount(), 1U);
}

TEST_F(EachMemberTest, WatchesTheMemberThatReplacesAnother) {
   street->houseIs("first")->doorIs(2);
   first->doorIs(1);
   EXPECT_EQ(postman->events, (std::vector<std::string>{"first door 0>2."}));
}

TEST_F(EachMemberTest, LetsTheHandlerDeleteItsMember) {
   postman->then = [&] { street->houseDel("first"); };
   first->doorIs(1);
   first->doorIs(2);
   EXPECT_EQ(postman->events, (std::vector<std::string>{"first door 0>1."}));
}

TEST_F(EachMemberTest, KeepsTheMachineWholeUntilItsHandlerReturns) {
   auto const events = std::make_shared<std::vector<std::string>>();
   postman->then = [&, events] {
      Postman const & own = *postman;
      postman = nullptr;
      events->push_back(own.events.back());
   };
   first->doorIs(1);
   first->doorIs(2);
   EXPECT_EQ(*events, (std::vector<std::string>{"first door 0>1"}));
   EXPECT_EQ(first->useCount(), 2U) << "the test's and the street's";
}

TEST_F(EachMemberTest, StopsAndResumesWithTheMachine) {
   postman->vornDoZombieReactors(true);
   first->doorIs(1);
   EXPECT_EQ(street->houseIs("second")->useCount(), 2U) << "a stopped machine watches no further member";
   postman->vornDoZombieReactors(false);
   first->doorIs(2);
   EXPECT_EQ(postman->events, (std::vector<std::string>{"first door 1>2."}));
}

TEST_F(EachMemberTest, ReportsWhatAHandlerRaisesAsTheMachines) {
   std::string failure;
   Vorn::Host::failureSinkIs([&](std::string_view machine, std::string_view) { failure = machine; });
   postman->then = [] { throw std::runtime_error{"no letters"}; };
   first->doorIs(1);
   Vorn::Host::failureSinkIs(nullptr);
   EXPECT_TRUE(failure.ends_with("Postman")) << failure;
}

// A key whose copies need memory.
struct Parcel {
   Parcel() = default;
   Parcel(Parcel const &) {
      if (isScarce)
         throw std::bad_alloc{};
   }
   Parcel & operator=(Parcel const &) = default;
   ~Parcel() = default;
   bool operator==(Parcel const &) const = default;

   static inline bool isScarce = false;
};

}  // namespace

template <>
struct std::hash<Parcel> {
   std::size_t operator()(Parcel const &) const noexcept { return 0; }
};

namespace {

struct Depot : Pelm::Node {
   Vorn::Collection<Parcel, Pelm::Ptr<House>, Depot> house{*this, "house"};
   void houseIs(Parcel const & parcel) { house.memberIs(parcel, Pelm::make<House>()); }
};

struct Porter : Pelm::Node {
   void handleDoor(Parcel const &) {}
   Vorn::EachMember<&Porter::handleDoor, &Depot::house, &House::door> doors{*this};
};

TEST(EachMemberShortageTest, ReportsAMemberThatCannotBeWatchedAsTheMachinesFailure) {
   auto const depot = Pelm::make<Depot>();
   auto const porter = Pelm::make<Porter>();
   depot->houseIs({});
   porter->doors.notifierIs(depot);
   std::string failure;
   Vorn::Host::failureSinkIs([&](std::string_view machine, std::string_view) { failure = machine; });
   Parcel::isScarce = true;
   porter->doors.memberIs({});
   Parcel::isScarce = false;
   Vorn::Host::failureSinkIs(nullptr);
   EXPECT_TRUE(failure.ends_with("PorterE"))
       << failure << ": as the compiler names it, since memory is scarce";
}

}  // namespace
