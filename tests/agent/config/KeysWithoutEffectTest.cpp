#include "agent/config/KeysWithoutEffect.h"

#include <gtest/gtest.h>

namespace {

using Agent::Config;
using Agent::keysWithoutEffect;
using Agent::LogDestination;

std::string linesFor(LogDestination destination, bool underSystemd) {
   Config config;
   config.logDestination = destination;
   std::string text;
   for (std::string const & line : keysWithoutEffect(config, underSystemd))
      text += line + "\n";
   return text;
}

TEST(KeysWithoutEffectTest, NamesADestinationThatIsNotSupported) {
   for (bool const underSystemd : {false, true}) {
      EXPECT_EQ(
          linesFor(LogDestination::journal, underSystemd),
          "log.destination: \"journal\" is not supported in this version; lines go to standard error\n");
      EXPECT_EQ(linesFor(LogDestination::syslog, underSystemd),
                "log.destination: \"syslog\" is not supported in this version; lines go to standard error\n");
      EXPECT_EQ(linesFor(LogDestination::standardError, underSystemd), "");
   }
}

TEST(KeysWithoutEffectTest, NamesTheDefaultDestinationUnderSystemdAlone) {
   EXPECT_EQ(linesFor(LogDestination::automatic, false), "");
   EXPECT_EQ(
       linesFor(LogDestination::automatic, true),
       "log.destination: the journal gets lines of text alone, from standard error; fields of their own are "
       "not supported in this version\n");
}

TEST(KeysWithoutEffectTest, NamesOtherKeysThatAreSet) {
   Config config;
   EXPECT_TRUE(keysWithoutEffect(config, false).empty());
   config.history.hours = 1;
   auto const lines = keysWithoutEffect(config, false);
   ASSERT_EQ(lines.size(), 1U);
   EXPECT_TRUE(lines[0].starts_with("history: is not supported in this version")) << lines[0];
}

}  // namespace
