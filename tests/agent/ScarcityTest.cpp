#include "agent/Scarcity.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace {

using Agent::explained;

TEST(ScarcityTest, NamesTheLimitAndHowToRaiseIt) {
   EXPECT_EQ(explained(EMFILE),
             "Too many open files; the process has as many descriptors as it may: raise the limit with "
             "ulimit -n or "
             "LimitNOFILE= of the systemd unit");
   EXPECT_NE(explained(ENFILE).find("fs.file-max"), std::string::npos);
   EXPECT_NE(explained(EAGAIN).find("ulimit -u, or LimitNPROC= and TasksMax="), std::string::npos);
   EXPECT_NE(explained(ENOMEM).find("MemoryMax="), std::string::npos);
   EXPECT_NE(Agent::memoryExhausted().find("MemoryMax="), std::string::npos);
}

TEST(ScarcityTest, AddsNothingToOtherErrors) {
   EXPECT_EQ(explained(EACCES), "Permission denied");
}

TEST(ScarcityTest, KeepsWhatAnExceptionSays) {
   std::system_error const error{EMFILE, std::generic_category(), "eventfd"};
   EXPECT_TRUE(explained(error).starts_with("eventfd: Too many open files; the process has as many"))
       << explained(error);
}

TEST(ScarcityTest, WarnsOfTooFewDescriptorsAlone) {
   EXPECT_EQ(Agent::descriptorsLine(64), std::nullopt);
   EXPECT_EQ(Agent::descriptorsLine(10),
             "no more than 10 descriptors may be open, which is too few to watch disks: raise the limit with "
             "ulimit -n "
             "or LimitNOFILE= of the systemd unit, to 64 at the least");
}

}  // namespace
