#include "base/Terminal.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include <cstdlib>

#include "base/UniqueFd.h"

namespace Base {
namespace {

class TerminalTest : public testing::Test {
 protected:
   TerminalTest() { forgetVariables(); }
   ~TerminalTest() override { forgetVariables(); }

   static void forgetVariables() {
      for (char const * const name : {"NO_COLOR", "CLICOLOR_FORCE", "COLUMNS", "LC_ALL", "LC_CTYPE", "LANG"})
         unsetenv(name);
   }

   UniqueFd terminal{posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)};
   UniqueFd file{open("/dev/null", O_RDWR | O_CLOEXEC)};
};

TEST_F(TerminalTest, ColoursATerminalAlone) {
   EXPECT_TRUE(takesColour(terminal.get()));
   EXPECT_FALSE(takesColour(file.get()));
}

TEST_F(TerminalTest, LeavesOutColoursThatTheUserRefuses) {
   setenv("NO_COLOR", "1", 1);
   EXPECT_FALSE(takesColour(terminal.get()));
   setenv("NO_COLOR", "", 1);
   EXPECT_TRUE(takesColour(terminal.get()));
}

TEST_F(TerminalTest, ColoursAFileThatTheUserWantsColoured) {
   setenv("CLICOLOR_FORCE", "1", 1);
   EXPECT_TRUE(takesColour(file.get()));
   for (char const * const no : {"", "0"}) {
      setenv("CLICOLOR_FORCE", no, 1);
      EXPECT_FALSE(takesColour(file.get())) << no;
   }
}

TEST_F(TerminalTest, PrefersTheRefusalOfColoursToTheWishForThem) {
   setenv("CLICOLOR_FORCE", "1", 1);
   setenv("NO_COLOR", "1", 1);
   EXPECT_FALSE(takesColour(file.get()));
   EXPECT_FALSE(takesColour(terminal.get()));
}

TEST_F(TerminalTest, MeasuresATerminalWhateverTheEnvironmentSays) {
   winsize const size{30, 100, 0, 0};
   ASSERT_EQ(ioctl(terminal.get(), TIOCSWINSZ, &size), 0);
   setenv("COLUMNS", "60", 1);
   EXPECT_EQ(terminalSize(terminal.get()).rows, 30U);
   EXPECT_EQ(terminalSize(terminal.get()).columns, 100U);
   EXPECT_EQ(outputWidth(terminal.get()), 100U);
}

TEST_F(TerminalTest, TakesTheWidthOfAFileFromTheEnvironment) {
   EXPECT_EQ(outputWidth(file.get()), 0U);
   setenv("COLUMNS", "60", 1);
   EXPECT_EQ(outputWidth(file.get()), 60U);
   EXPECT_EQ(terminalSize(file.get()).columns, 0U);
   for (char const * const odd : {"", "-1", "wide", "80x"}) {
      setenv("COLUMNS", odd, 1);
      EXPECT_EQ(outputWidth(file.get()), 0U) << odd;
   }
}

TEST_F(TerminalTest, TakesUtf8WhereTheFirstLocaleOfTheEnvironmentDoes) {
   EXPECT_FALSE(takesUtf8());
   setenv("LANG", "en_US.UTF-8", 1);
   EXPECT_TRUE(takesUtf8());
   setenv("LC_CTYPE", "C", 1);
   EXPECT_FALSE(takesUtf8());
   setenv("LC_ALL", "de_DE.utf8@euro", 1);
   EXPECT_TRUE(takesUtf8());
   setenv("LC_ALL", "de_DE.ISO-8859-1", 1);
   EXPECT_FALSE(takesUtf8());
   setenv("LC_ALL", "", 1);
   setenv("LC_CTYPE", "", 1);
   EXPECT_TRUE(takesUtf8());
}

}  // namespace
}  // namespace Base
