#include "agent/Scarcity.h"

#include <gtest/gtest.h>

namespace {

TEST(ScarcityTest, WarnsOfTooFewDescriptorsAlone) {
   EXPECT_EQ(Agent::descriptorsLine(64), std::nullopt);
   EXPECT_EQ(Agent::descriptorsLine(10),
             "the limit of 10 open files is too low to watch disks: raise LimitNOFILE= of the service "
             "(ulimit -n) to at least 64");
}

}  // namespace
