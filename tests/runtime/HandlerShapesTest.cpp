// Which handlers fit which attributes, and when.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "tests/runtime/DeliveryTest.h"

namespace {

using RuntimeTest::DeliveryTest;
using RuntimeTest::Events;
using RuntimeTest::House;

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

}  // namespace
