// The reactors of a machine stop and resume with it, without a line of its own.
#include <gtest/gtest.h>

#include <memory>
#include <utility>

#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/Notifiee.h"
#include "runtime/host/Loop.h"
#include "tests/runtime/House.h"
#include "tests/support/VirtualTimeTest.h"

namespace {

using RuntimeTest::House;

class Guard : public Pelm::Node {
 public:
   explicit Guard(Pelm::Ptr<House> const & house) {
      reactor_->notifierIs(house);
      reactor_->on<&Guard::handleDoor>(house->door, *this);
      reactor_->hasNotificationActiveIs(true);
   }

   // The subscription outlives the machine.
   std::unique_ptr<Vorn::NotifieeConst> takeReactor() { return std::move(reactor_); }

   int doors = 0;
   int rings = 0;

 private:
   void handleDoor() { ++doors; }
   void handleClock() { ++rings; }

   Vorn::Clock::Notifiee<&Guard::handleClock> clock_{*this, 1010};
   std::unique_ptr<Vorn::NotifieeConst> reactor_ = std::make_unique<Vorn::NotifieeConst>();
};

class OwnReactorsTest : public Support::VirtualTimeTest {
 protected:
   Pelm::Ptr<House> house = Pelm::make<House>();
   Pelm::Ptr<Guard> guard = Pelm::make<Guard>(house);
};

TEST_F(OwnReactorsTest, StopsWithTheMachine) {
   guard->vornDoZombieReactors(true);
   house->doorIs(1);
   Vorn::Host::runFor(100);
   EXPECT_EQ(guard->doors, 0);
   EXPECT_EQ(guard->rings, 0);
}

TEST_F(OwnReactorsTest, ResumesWithTheMachine) {
   guard->vornDoZombieReactors(true);
   house->doorIs(1);
   Vorn::Host::runFor(100);
   guard->vornDoZombieReactors(false);
   house->doorIs(2);
   Vorn::Host::runFor(1);
   EXPECT_EQ(guard->doors, 1) << "the change made meanwhile is not delivered";
   EXPECT_EQ(guard->rings, 1) << "the time that passed meanwhile has come";
}

TEST_F(OwnReactorsTest, StaysSwitchedOffWhenTheMachineResumes) {
   auto const reactor = guard->takeReactor();
   reactor->hasNotificationActiveIs(false);
   guard->vornDoZombieReactors(true);
   guard->vornDoZombieReactors(false);
   house->doorIs(1);
   EXPECT_EQ(guard->doors, 0);
   reactor->hasNotificationActiveIs(true);
   house->doorIs(2);
   EXPECT_EQ(guard->doors, 1);
}

TEST_F(OwnReactorsTest, IsStoppedWhenMadeInAZombie) {
   Pelm::KeepAlive const keepAlive{*guard};
   Guard & zombie = *guard;
   guard = nullptr;
   ASSERT_TRUE(zombie.nodeFlag(Pelm::Node::Flag::zombie));
   struct Ear {
      void hear() { ++events; }
      int events = 0;
   } ear;
   for (bool const activeFirst : {true, false}) {
      Vorn::NotifieeConst late;
      late.notifierIs(house);
      late.machineIs(&zombie);
      late.hasNotificationActiveIs(activeFirst);
      late.on<&Ear::hear>(house->door, ear);
      late.hasNotificationActiveIs(true);
      house->doorIs(house->door() + 1);
      EXPECT_EQ(ear.events, 0) << activeFirst;
   }
}

TEST_F(OwnReactorsTest, ResumesWhenItIsNoMachinesAnyMore) {
   auto const reactor = guard->takeReactor();
   guard->vornDoZombieReactors(true);
   reactor->machineIs(nullptr);
   house->doorIs(1);
   EXPECT_EQ(guard->doors, 1);
}

TEST_F(OwnReactorsTest, OutlivesTheMachine) {
   auto const reactor = guard->takeReactor();
   guard = nullptr;
   house->doorIs(1);
   EXPECT_TRUE(reactor->hasNotificationActive());
   reactor->notifierIs(nullptr);
}

}  // namespace
