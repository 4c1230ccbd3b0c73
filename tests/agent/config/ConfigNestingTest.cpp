#include "agent/config/ConfigNesting.h"

#include <gtest/gtest.h>

#include <string>

namespace Agent {
namespace {

std::string dotted(int parts) {
   std::string name = "a";
   for (int part = 1; part < parts; ++part)
      name += ".a";
   return name;
}

TEST(ConfigNestingTest, AllowsSixteenLevels) {
   EXPECT_EQ(tooDeepConfigLine(""), std::nullopt);
   EXPECT_EQ(tooDeepConfigLine(dotted(16) + " = 1"), std::nullopt);
   EXPECT_EQ(tooDeepConfigLine("\n" + dotted(17) + " = 1"), 2U);
   EXPECT_EQ(tooDeepConfigLine("[" + dotted(17) + "]"), 1U);
   EXPECT_EQ(tooDeepConfigLine("a = " + std::string(16, '[') + std::string(16, ']')), std::nullopt);
   EXPECT_EQ(tooDeepConfigLine("a = " + std::string(17, '[')), 1U);
   EXPECT_EQ(tooDeepConfigLine("a = [\n[\n" + std::string(15, '{')), 3U);
}

TEST(ConfigNestingTest, CountsEachNameByItself) {
   std::string many;
   for (int line = 0; line < 100; ++line)
      many += dotted(16) + " = 1.5\n[x.y]\n";
   EXPECT_EQ(tooDeepConfigLine(many), std::nullopt);
   EXPECT_EQ(tooDeepConfigLine("a = { x.y = 1.0, x.z = 2.0, " + dotted(16) + " = [1.0, 2.0, 3.0] }"),
             std::nullopt);
}

TEST(ConfigNestingTest, IgnoresStringsAndComments) {
   std::string const deep = dotted(40) + std::string(40, '[');
   EXPECT_EQ(tooDeepConfigLine("# " + deep + "\nb = 1 # " + deep), std::nullopt);
   EXPECT_EQ(tooDeepConfigLine("b = '" + deep + "'\nc = \"\\\"" + deep + "\""), std::nullopt);
   EXPECT_EQ(tooDeepConfigLine("b = '''\n" + deep + "'\n'''"), std::nullopt);
   EXPECT_EQ(tooDeepConfigLine("b = \"\"\"\\\"\"\"" + deep + "\"\"\"\"\""), std::nullopt);
}

TEST(ConfigNestingTest, FindsNestingBehindAString) {
   std::string const deep = "\n[" + dotted(17) + "]";
   EXPECT_EQ(tooDeepConfigLine("b = ''" + deep), 2U);
   EXPECT_EQ(tooDeepConfigLine("b = ''''''" + deep), 2U);
   EXPECT_EQ(tooDeepConfigLine("b = '''\n\n'''''" + deep), 4U);
   EXPECT_EQ(tooDeepConfigLine("b = \"\\\\\"" + deep), 2U);
   EXPECT_EQ(tooDeepConfigLine("b = '\\'" + deep), 2U);
}

}  // namespace
}  // namespace Agent
