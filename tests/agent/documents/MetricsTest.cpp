#include "agent/documents/Metrics.h"

#include <gtest/gtest.h>

namespace Agent {
namespace {

TEST(MetricsTest, DescribesTheLoop) {
   EXPECT_EQ(metricsText(0.25, {}),
             "# HELP storagedevices_last_turn_age_seconds Seconds since the last turn of the loop ended.\n"
             "# TYPE storagedevices_last_turn_age_seconds gauge\n"
             "storagedevices_last_turn_age_seconds 0.250000\n"
             "# HELP storagedevices_loop_stalls_total Turns of the loop that took five seconds or longer.\n"
             "# TYPE storagedevices_loop_stalls_total counter\n"
             "storagedevices_loop_stalls_total 0.000000\n"
             "# HELP storagedevices_loop_longest_stall_seconds Duration of the longest stall in seconds.\n"
             "# TYPE storagedevices_loop_longest_stall_seconds gauge\n"
             "storagedevices_loop_longest_stall_seconds 0.000000\n");
}

TEST(MetricsTest, NamesTheCauseOfTheLastStall) {
   Stalls const stalls{2, 93.25, Stall{12.5, "fsync", "/mnt/\"dri\\\nve", 1700000000.5}};
   std::string const text = metricsText(0, stalls);
   EXPECT_NE(text.find("storagedevices_loop_stalls_total 2.000000\n"), std::string::npos) << text;
   EXPECT_NE(text.find("storagedevices_loop_longest_stall_seconds 93.250000\n"), std::string::npos) << text;
   std::string const last = text.substr(text.rfind("storagedevices_loop_last_stall_seconds{"));
   EXPECT_TRUE(
       last.starts_with("storagedevices_loop_last_stall_seconds{operation=\"fsync\",path=\"/mnt/\\\"dri"))
       << last;
   EXPECT_TRUE(last.ends_with("ve\"} 12.500000\n")) << last;
   EXPECT_EQ(last.find('\n'), last.size() - 1) << "a line end in a name does not end the line";
}

}  // namespace
}  // namespace Agent
