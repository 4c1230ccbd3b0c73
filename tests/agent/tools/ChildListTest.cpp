#include "agent/tools/ChildList.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <string>

namespace {

using Agent::Child;
using Agent::childIn;

std::string statOf(std::string const & name) {
   return "42 (" + name +
          ") S 7 42 1 0 -1 4194560 1 2 3 4 5 6 7 8 20 0 1 0 98765 1000 20 18446744073709551615\n";
}

TEST(ChildListTest, ReadsParentStateAndStartFromAStatFile) {
   EXPECT_EQ(childIn(statOf("smartctl"), 7), (Child{42, 'S', 98765}));
   EXPECT_EQ(childIn(statOf("smartctl"), 8), std::nullopt);
}

TEST(ChildListTest, KeepsANameFromForgingTheFieldsBehindIt) {
   EXPECT_EQ(childIn(statOf("a) Z 8 (b"), 7), (Child{42, 'S', 98765}));
   EXPECT_EQ(childIn(statOf(") R 9 9 9 9"), 9), std::nullopt);
}

TEST(ChildListTest, FindsNoChildInOtherTexts) {
   for (char const * const text :
        {"", "x", "42", "42 (a", "42 (a)", "42 (a) S", "42 (a) S 7 1 1 1", "42 (a) S 7 )"})
      EXPECT_EQ(childIn(text, 7), std::nullopt) << text;
}

TEST(ChildListTest, ListsAProcessUntilItIsReaped) {
   pid_t const child = fork();
   if (child == 0) {
      pause();
      _exit(0);
   }
   auto const listed = [child] {
      auto const all = Agent::children();
      return std::any_of(all.begin(), all.end(), [child](Child const & one) { return one.pid == child; });
   };
   EXPECT_TRUE(listed());
   kill(child, SIGKILL);
   waitpid(child, nullptr, 0);
   EXPECT_FALSE(listed());
}

}  // namespace
