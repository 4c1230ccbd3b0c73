#include "command/Colour.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "base/UniqueFd.h"

namespace Agent {
namespace {

class ColourTest : public testing::Test {
 protected:
   ColourTest() { unsetenv("NO_COLOR"); }
   ~ColourTest() override { unsetenv("NO_COLOR"); }

   Base::UniqueFd terminal{posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)};
};

TEST_F(ColourTest, AppliesToATerminalAlone) {
   EXPECT_TRUE(takesColour(terminal.get()));
   Base::UniqueFd const file{open("/dev/null", O_RDWR | O_CLOEXEC)};
   EXPECT_FALSE(takesColour(file.get()));
}

TEST_F(ColourTest, IsOmittedWhereTheUserRefusesIt) {
   setenv("NO_COLOR", "1", 1);
   EXPECT_FALSE(takesColour(terminal.get()));
   setenv("NO_COLOR", "", 1);
   EXPECT_TRUE(takesColour(terminal.get()));
}

}  // namespace
}  // namespace Agent
