#include "runtime/Vorn/Machine.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/Pelm/Node.h"
#include "runtime/host/Failure.h"

namespace {

enum class Fails { nowhere, inConstructor, inInitialisation };

class PlainMachine : public Pelm::Node {
 public:
   explicit PlainMachine(Fails fails) : fails_{fails} {
      if (fails_ == Fails::inConstructor)
         throw std::runtime_error{"no parts"};
   }
   virtual void handleInitialized() {
      if (fails_ == Fails::inInitialisation)
         throw std::runtime_error{"no power"};
      initialised = true;
   }
   bool initialised = false;

 private:
   Fails fails_;
};

class Special : public PlainMachine {
 public:
   using PlainMachine::PlainMachine;
   void handleInitialized() override {
      PlainMachine::handleInitialized();
      special = true;
   }
   bool special = false;
};

class MakeMachineTest : public testing::Test {
 protected:
   MakeMachineTest() {
      Vorn::Host::failureSinkIs([this](std::string_view machine, std::string_view what) {
         failures.push_back(std::string{machine} + ": " + std::string{what});
      });
   }
   ~MakeMachineTest() override { Vorn::Host::failureSinkIs(nullptr); }
   std::vector<std::string> failures;
};

TEST_F(MakeMachineTest, InitialisesTheWholeMachineBeforeItIsHandedOut) {
   auto const machine = Vorn::makeMachine<Special>(Fails::nowhere);
   ASSERT_TRUE(machine);
   EXPECT_TRUE(machine->initialised && machine->special);
   EXPECT_EQ(machine->useCount(), 1U);
   EXPECT_TRUE(failures.empty());
}

TEST_F(MakeMachineTest, HandsOutAnUninitialisedMachineThatRaisedInItsInitialisation) {
   auto const machine = Vorn::makeMachine<Special>(Fails::inInitialisation);
   ASSERT_TRUE(machine);
   EXPECT_FALSE(machine->initialised);
   ASSERT_EQ(failures.size(), 1U);
   EXPECT_NE(failures[0].find("Special: no power"), std::string::npos);
}

TEST_F(MakeMachineTest, AnswersNullForAMachineThatRaisedInItsConstructor) {
   EXPECT_FALSE(Vorn::makeMachine<PlainMachine>(Fails::inConstructor));
   ASSERT_EQ(failures.size(), 1U);
   EXPECT_NE(failures[0].find("PlainMachine: no parts"), std::string::npos);
}

}  // namespace
