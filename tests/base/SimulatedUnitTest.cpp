#include "base/SimulatedUnit.h"

#include <gtest/gtest.h>

#include "tests/support/ProcessState.h"

namespace {

TEST(SimulatedUnitTest, IsNamedByTheEnvironment) {
   Support::EnvironmentSetting const outer{Base::simulatedRootVariable, ""};
   EXPECT_EQ(Base::simulatedRoot(), std::nullopt);
   unsetenv(Base::simulatedRootVariable);
   EXPECT_EQ(Base::simulatedRoot(), std::nullopt);
   Support::EnvironmentSetting const inner{Base::simulatedRootVariable, "/unit"};
   EXPECT_EQ(Base::simulatedRoot(), "/unit");
}

}  // namespace
