#include "agent/config/ConfigChange.h"

#include <gtest/gtest.h>

#include "tests/support/EveryKey.h"

namespace {

using Agent::applyConfig;
using Agent::changeText;
using Agent::Config;
using Keys = std::vector<std::string>;

TEST(ConfigChangeTest, AppliesKeysThatCanChangeWhileTheAgentRunsAtOnce) {
   Config running;
   auto const change = applyConfig(running, Support::everyValue());
   EXPECT_EQ(
       change.applied,
       (Keys{"poll_interval", "appliance.expected_mounts", "appliance.sensors", "sensors", "tools.timeout",
             "tools.path", "tools.accept_exit_bits", "tools.nvme_compat", "kernel_messages.forward_kmsg",
             "kernel_messages.modern_kernels", "verdict.life_warning", "verdict.life_failing", "trace"}));
   EXPECT_EQ(running.pollInterval, 5);
   EXPECT_EQ(running.sensors, Support::everyValue().sensors);
   EXPECT_EQ(running.trace, Support::everyValue().trace);
}

TEST(ConfigChangeTest, KeepsSocketsDirectoriesAndTheTimeScaleUntilTheNextStart) {
   Config running;
   auto const change = applyConfig(running, Support::everyValue());
   EXPECT_EQ(change.atNextStart,
             (Keys{"appliance.etc_dir", "appliance.mount_source_dir", "kernel_messages.socket",
                   "status.socket", "status.http", "status.allow_remote", "status.socket_group",
                   "log.destination", "history.hours", "history.file", "clock.time_scale"}));
   Config const before;
   EXPECT_EQ(running.status, before.status);
   EXPECT_EQ(running.appliance.etcDir, before.appliance.etcDir);
   EXPECT_EQ(running.timeScale, before.timeScale);
   EXPECT_EQ(applyConfig(running, Support::everyValue()).atNextStart, change.atNextStart);
}

// A key that no entry knows would stay as it is and never be named.
TEST(ConfigChangeTest, NamesEveryKey) {
   Config running;
   auto const change = applyConfig(running, Support::everyValue());
   Config expected = Support::everyValue();
   Config const old;
   expected.appliance.etcDir = old.appliance.etcDir;
   expected.appliance.mountSourceDir = old.appliance.mountSourceDir;
   expected.kernelMessages.socket = old.kernelMessages.socket;
   expected.status = old.status;
   expected.logDestination = old.logDestination;
   expected.history = old.history;
   expected.timeScale = old.timeScale;
   EXPECT_EQ(running, expected);
   EXPECT_EQ(change.applied.size() + change.atNextStart.size(), 24U);
}

TEST(ConfigChangeTest, DescribesTheChangeInWords) {
   EXPECT_EQ(changeText({}), "nothing in it has changed");
   EXPECT_EQ(changeText({{"trace"}, {}}), "trace takes effect now");
   EXPECT_EQ(changeText({{"poll_interval", "trace"}, {"status.socket"}}),
             "poll_interval, trace take effect now; status.socket takes effect at the next start");
   EXPECT_EQ(changeText({{}, {"status.socket", "status.http"}}),
             "status.socket, status.http take effect at the next start");
}

}  // namespace
