// Tools that leave processes behind: none outlives its run or the agent, and none stays a zombie.

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "tests/integration/agent/AgentProgramTest.h"

namespace {

using StorageDevices::Simulation::Tool;

class ToolTreeTest : public AgentProgramTest {
 protected:
   // hdparm begins a process in a session of its own, which begins another such, before it does its work.
   ToolTreeTest() {
      auto const tool = unit.toolsPath() / "hdparm";
      std::filesystem::rename(tool, folder.path() / "hdparm");
      auto const daemon = folder.writeScript(
          "daemon.sh", "setsid sleep 1000 &\ntouch '" + folder.string() + "/daemon'\nexec sleep 1000");
      Support::TempDir const scripts;
      std::filesystem::copy_file(
          scripts.writeScript("hdparm", "(setsid '" + daemon.string() +
                                            "' &) </dev/null >/dev/null 2>&1\nwhile [ ! -e '" +
                                            folder.string() + "/daemon' ]; do sleep 0.01; done\nexec '" +
                                            folder.string() + "/hdparm' \"$@\""),
          tool);
   }
   bool leftBehind() const { return std::filesystem::exists(folder.path() / "daemon"); }
   // Every child of the agent, zombies included.
   std::string children() const {
      std::string const pid = std::to_string(agentPid());
      return Support::fileContent("/proc/" + pid + "/task/" + pid + "/children");
   }
};

TEST_F(ToolTreeTest, EndsProcessesThatAToolLeftBehindWithItsRun) {
   start();
   ASSERT_TRUE(waitInRealTime([&] { return has("SN-A") && leftBehind(); })) << log;
   EXPECT_TRUE(waitInRealTime([&] { return watchingProcesses() == 1 && children().empty(); })) << children();
}

TEST_F(ToolTreeTest, EndsAToolThatPassesItsTimeLimitWithItsProcesses) {
   unit.tools().hangsIs(Tool::hdparm, "sda", true);
   toolsKeyIs("timeout = 1");
   start();
   ASSERT_TRUE(waitInRealTime([&] { return leftBehind() && watchingProcesses() > 2; })) << log;
   EXPECT_TRUE(waitInRealTime([&] { return has("UDEV-SN-A"); })) << log;
   EXPECT_TRUE(waitInRealTime([&] { return watchingProcesses() == 1 && children().empty(); })) << children();
}

TEST_F(ToolTreeTest, LeavesNothingOfAToolWhenStopped) {
   unit.tools().hangsIs(Tool::hdparm, "sda", true);
   start();
   ASSERT_TRUE(waitInRealTime([&] { return leftBehind() && watchingProcesses() > 2; })) << log;
   EXPECT_TRUE(endsBy(SIGTERM));
   EXPECT_EQ(watchingProcesses(), 0U);
   EXPECT_EQ(agent->stop(), "exit code 0");
}

TEST_F(ToolTreeTest, CountsLinesThatNobodyReadsInTheState) {
   config("[trace]\nStorageSmartDataMonitorSm = 9\nStorageIOStatSm = 9\n[clock]\ntime_scale = 10000\n",
          "poll_interval = 1\n");
   start();
   auto const ask = [&] { state.Parse(Command::askAgent(socket, "/api/v1/state?history=1").c_str()); };
   ask();
   Support::waitInRealTime([&] { return state["log"]["linesDropped"].GetUint() > 0; }, ask,
                           std::chrono::seconds{40});
   EXPECT_GT(state["log"]["linesDropped"].GetUint(), 0U);
   EXPECT_TRUE(state["kernelLines"].ObjectEmpty());
}

TEST_F(ToolTreeTest, CountsLinesOfTheKernelWhileTheyAreForwarded) {
   start();
   EXPECT_TRUE(state["kernelLines"].ObjectEmpty());
   std::string text = folder.content("agent.toml");
   std::string const off = "forward_kmsg = false";
   text.replace(text.find(off), off.size(), "forward_kmsg = true");
   folder.write("agent.toml", text);
   signalAgent(SIGHUP);
   EXPECT_TRUE(waitInRealTime([&] { return state["kernelLines"].HasMember("received"); })) << log;
   EXPECT_EQ(state["kernelLines"].MemberCount(), 5U);
}

}  // namespace
