#include "agent/Scarcity.h"

#include <gtest/gtest.h>

namespace {

TEST(ScarcityTest, WarnsOfTooFewDescriptorsAlone) {
   EXPECT_EQ(Agent::descriptorsLine(64), std::nullopt);
   EXPECT_EQ(
       Agent::descriptorsLine(10),
       "no more than 10 descriptors may be open, which is too few to watch disks: raise LimitNOFILE= of the "
       "service (ulimit -n), to 64 at the least");
}

}  // namespace
