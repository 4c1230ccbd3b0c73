#include "runtime/Vorn/Log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "runtime/Vorn/Module.h"
#include "runtime/host/Log.h"
#include "tests/support/VirtualTimeTest.h"

namespace {

using Vorn::LogDescriptor;
using Vorn::LogHandle;
using Vorn::LogString;
using Vorn::RecommendedAction;
using Vorn::Seconds;

constexpr LogDescriptor failing{"TEST_FAILING", "Device %s at %s fails: 100%", "It fails.", "Replace it.", 3};
constexpr LogDescriptor alive{"TEST_ALIVE", "Device %s lives", "It lives.", RecommendedAction::Standard::none,
                              6};

static_assert(failing.placeholderCount() == 2 && alive.placeholderCount() == 1);

class LogTest : public Support::VirtualTimeTest {
 protected:
   struct Message {
      std::string name;
      std::vector<Pelm::String> arguments;
      std::string text;
      Seconds utc;
      std::uint64_t argsHash;
   };

   LogTest() {
      Vorn::Host::logSinkIs([this](Vorn::Host::LogMessage const & message) {
         messages.push_back(
             {message.descriptor.name, message.arguments, message.text.str(), message.utc, message.argsHash});
      });
   }
   ~LogTest() override { Vorn::Host::logSinkIs(nullptr); }

   std::vector<Message> messages;
};

TEST_F(LogTest, DeliversAMessageToTheSinkWithItsArgumentsAndText) {
   LogHandle handle{failing, 0, 1.0, 0, 0};
   Vorn::log(handle, {"S1", "/mnt/flash"});
   ASSERT_EQ(messages.size(), 1U);
   EXPECT_EQ(messages[0].name, "TEST_FAILING");
   EXPECT_EQ(messages[0].text, "Device S1 at /mnt/flash fails: 100%");
   EXPECT_EQ(messages[0].arguments, (std::vector<Pelm::String>{"S1", "/mnt/flash"}));
   EXPECT_EQ(messages[0].utc, Seconds{1700000000});
}

TEST_F(LogTest, ConvertsNumbersToText) {
   LogHandle two{failing, 0, 1.0, 0, 0};
   LogHandle one{alive, 0, 1.0, 0, 0};
   Vorn::log(two, std::int64_t{-9000000000}, 2.5);
   Vorn::log(two, Seconds{86400}, "/mnt/flash");
   Vorn::log(two, std::uint8_t{65}, std::uint64_t{18446744073709551615U});
   Vorn::log(two, Pelm::String{"S1"}, std::string{"/mnt/drive"});
   Vorn::log(two, 12345678901234567LL, 1ULL);
   Vorn::log(one, 7);
   Vorn::log(one, Seconds{0.25});
   std::vector<std::vector<Pelm::String>> arguments;
   for (auto const & message : messages)
      arguments.push_back(message.arguments);
   EXPECT_EQ(arguments, (std::vector<std::vector<Pelm::String>>{{"-9000000000", "2.5"},
                                                                {"86400", "/mnt/flash"},
                                                                {"65", "18446744073709551615"},
                                                                {"S1", "/mnt/drive"},
                                                                {"12345678901234567", "1"},
                                                                {"7"},
                                                                {"0.25"}}));
}

TEST_F(LogTest, OffersAFormForOneArgument) {
   LogHandle handle{alive, 0, 1.0, 0, 0};
   Vorn::log(handle, Pelm::String{"S1"});
   ASSERT_EQ(messages.size(), 1U);
   EXPECT_EQ(messages[0].text, "Device S1 lives");
}

TEST_F(LogTest, OffersTheStepsOfAMessageOneByOne) {
   LogHandle handle{failing, 60, 1.0, 0, 0b10};
   std::uint32_t const mask = handle.rateLimitArgsMask();
   EXPECT_EQ(mask & 3U, 1U) << "argument 1 is left out of the key";
   LogString logString;
   logString.strIs(0, "S1");
   std::uint64_t const argsHash = Vorn::logArgsHash(logString, mask);
   auto const key = static_cast<std::uint32_t>(handle.idHash()) ^ static_cast<std::uint32_t>(argsHash);
   EXPECT_TRUE(handle.okToLog(key));
   EXPECT_FALSE(handle.okToLog(key)) << "too soon";
   logString.strIs(1, "/mnt/flash");
   EXPECT_EQ(Vorn::logArgsHash(logString, mask), argsHash);
   logString.argsHashIs(argsHash);
   EXPECT_EQ(logString.argsHash(), argsHash);
   handle.log(logString);
   ASSERT_EQ(messages.size(), 1U);
   EXPECT_EQ(messages[0].text, "Device S1 at /mnt/flash fails: 100%");
   EXPECT_EQ(messages[0].argsHash, argsHash);
   Vorn::log(handle, {"S1", "/mnt/other"});
   EXPECT_EQ(messages.size(), 1U) << "the same key by the convenient form";
   Vorn::log(handle, {"S2", "/mnt/other"});
   logString.strIs(0, "S2");
   ASSERT_EQ(messages.size(), 2U);
   EXPECT_EQ(messages[1].argsHash, Vorn::logArgsHash(logString, mask));
   EXPECT_NE(messages[1].argsHash, argsHash);
}

TEST_F(LogTest, LogsArgumentsOutsideTheKey) {
   LogHandle handle{failing, 60, 1.0, 0, 0b01};
   Vorn::log(handle, {"S1", "/mnt/flash"});
   Vorn::log(handle, {"S2", "/mnt/flash"});
   Vorn::log(handle, {"S2", "/mnt/drive"});
   ASSERT_EQ(messages.size(), 2U);
   EXPECT_EQ(messages[0].text, "Device S1 at /mnt/flash fails: 100%");
   EXPECT_EQ(messages[1].text, "Device S2 at /mnt/drive fails: 100%");
}

TEST_F(LogTest, DistinguishesSelectedArgumentsByTheHash) {
   auto const hash = [](std::vector<Pelm::String> const & arguments, std::uint32_t mask) {
      LogString logString;
      for (std::size_t i = 0; i < arguments.size(); ++i)
         logString.strIs(i, arguments[i]);
      return Vorn::logArgsHash(logString, mask);
   };
   std::set<std::uint64_t> const hashes{hash({"ab", "c"}, ~0U), hash({"a", "bc"}, ~0U),
                                        hash({"c", "ab"}, ~0U), hash({"", "abc"}, ~0U),
                                        hash({"abc", ""}, ~0U)};
   EXPECT_EQ(hashes.size(), 5U);
   EXPECT_EQ(hash({"", "", "a"}, 4), 12638192036688817727U) << "the same on every machine";
   EXPECT_EQ(hash({"a", "x"}, 1), hash({"a", "y"}, 1));
   EXPECT_EQ(hash({"a"}, 0), hash({"b", "c"}, 0));
   std::vector<Pelm::String> many(40, "a");
   std::uint64_t const before = hash(many, ~0U);
   many[39] = "b";
   EXPECT_EQ(hash(many, ~0U), before) << "a mask of 32 bits selects no more";
   EXPECT_NE(LogHandle(failing, 0, 1.0, 0, 0).idHash(), LogHandle(alive, 0, 1.0, 0, 0).idHash());
}

TEST_F(LogTest, AnswersAnEmptyLogStringForAMissingArgument) {
   LogString logString;
   logString.strIs(2, "c");
   EXPECT_EQ(logString.size(), 3U);
   EXPECT_EQ(logString.str(0), "");
   EXPECT_EQ(logString.str(2), "c");
   EXPECT_EQ(logString.str(99), "");
}

TEST_F(LogTest, AlwaysLogsWithIntervalZero) {
   LogHandle handle{alive, 0, 1.0, 0, 0};
   for (int i = 0; i < 3; ++i)
      Vorn::log(handle, Pelm::String{"S1"});
   EXPECT_EQ(messages.size(), 3U);
}

TEST_F(LogTest, LimitsTheRatePerKey) {
   LogHandle handle{alive, 60, 1.0, 0, 0};
   Vorn::log(handle, Pelm::String{"S1"});
   Vorn::log(handle, Pelm::String{"S1"});
   Vorn::log(handle, Pelm::String{"S2"});
   EXPECT_EQ(messages.size(), 2U);
   time->jumpBy(59);
   Vorn::log(handle, Pelm::String{"S1"});
   EXPECT_EQ(messages.size(), 2U);
   time->jumpBy(1);
   Vorn::log(handle, Pelm::String{"S1"});
   EXPECT_EQ(messages.size(), 3U);
}

TEST_F(LogTest, LengthensTheIntervalByTheFactorPerDroppedMessageUpToItsLimit) {
   LogHandle handle{alive, 10, 2.0, 30, 0};
   EXPECT_TRUE(handle.okToLog(1));
   EXPECT_FALSE(handle.okToLog(1));  // 20 s now
   time->jumpBy(19);
   EXPECT_FALSE(handle.okToLog(1));  // 30 s, the limit
   time->jumpBy(10);
   EXPECT_FALSE(handle.okToLog(1));
   time->jumpBy(1);
   EXPECT_TRUE(handle.okToLog(1));
   time->jumpBy(10);
   EXPECT_TRUE(handle.okToLog(1)) << "a message starts with the first interval again";
}

TEST_F(LogTest, LimitsTheIntervalToADayByDefaultAndNeverShrinksIt) {
   LogHandle doubling{alive, 10, 1e9, 0, 0};
   EXPECT_TRUE(doubling.okToLog(1));
   EXPECT_FALSE(doubling.okToLog(1));
   time->jumpBy(86400);
   EXPECT_TRUE(doubling.okToLog(1));
   LogHandle shrinking{alive, 10, 0.1, 5, 0};
   EXPECT_TRUE(shrinking.okToLog(1));
   EXPECT_FALSE(shrinking.okToLog(1));
   time->jumpBy(9);
   EXPECT_FALSE(shrinking.okToLog(1)) << "neither the factor nor the limit goes below the interval";
   time->jumpBy(1);
   EXPECT_TRUE(shrinking.okToLog(1));
}

TEST_F(LogTest, RemembersABoundedNumberOfKeys) {
   LogHandle handle{alive, 1000, 1.0, 0, 0};
   for (std::uint32_t key = 0; key < 3000; ++key) {
      EXPECT_TRUE(handle.okToLog(key));
      time->jumpBy(0.001);
   }
   EXPECT_FALSE(handle.okToLog(2999));
   EXPECT_TRUE(handle.okToLog(0)) << "the one that spoke longest ago is forgotten";
}

TEST_F(LogTest, FillsTheTextFromLeftToRightOnce) {
   EXPECT_EQ(Vorn::logText(failing, {"%s", "b"}), "Device %s at b fails: 100%");
   EXPECT_EQ(Vorn::logText(failing, {"a"}), "Device a at  fails: 100%");
   EXPECT_EQ(Vorn::logText(alive, {"a", "b"}), "Device a lives");
   EXPECT_EQ(Vorn::logText({"N", "no place", "", "", 6}, {}), "no place");
}

TEST_F(LogTest, DropsMessagesWithoutASink) {
   Vorn::Host::logSinkIs(nullptr);
   LogHandle handle{alive, 0, 1.0, 0, 0};
   EXPECT_NO_THROW(Vorn::log(handle, Pelm::String{"S1"}));
   EXPECT_TRUE(messages.empty());
}

TEST_F(LogTest, ReadsRecommendedActionsOfEitherKindAsWords) {
   EXPECT_FALSE(failing.recommendedAction.isStandard());
   EXPECT_STREQ(failing.recommendedAction.text(), "Replace it.");
   EXPECT_STREQ(failing.recommendedAction.ownText(), "Replace it.");
   std::set<std::string> texts;
   for (std::uint8_t code = 0; code < 4; ++code) {
      RecommendedAction const action{RecommendedAction::Standard{code}};
      EXPECT_TRUE(action.isStandard());
      EXPECT_EQ(action.ownText(), nullptr);
      texts.insert(action.text());
   }
   EXPECT_EQ(texts.size(), 4U);
   EXPECT_STREQ(RecommendedAction{RecommendedAction::Standard{99}}.text(), "");
}

TEST_F(LogTest, RegistersAModuleOnceHoweverOftenItIsNamed) {
   static Vorn::Module const module{"LogTest", {}};
   EXPECT_TRUE(Vorn::vornModuleIs(module));
   EXPECT_TRUE(Vorn::vornModuleIs(module));
   EXPECT_EQ(std::count(Vorn::modules().begin(), Vorn::modules().end(), &module), 1);
}

TEST(LogDeathTest, RefusesAWrongNumberOfArguments) {
   testing::FLAGS_gtest_death_test_style = "threadsafe";
   LogHandle handle{failing, 0, 1.0, 0, 0};
   EXPECT_DEATH(Vorn::log(handle, {"S1"}), "placeholderCount");
}

}  // namespace
