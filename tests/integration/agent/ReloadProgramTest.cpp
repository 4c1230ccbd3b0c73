// `storagedevices reload` as an operator runs it.

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "tests/integration/agent/AgentProgramTest.h"
#include "tests/support/FakeAgent.h"

namespace {

class ReloadProgramTest : public AgentProgramTest {
 protected:
   Output reload(std::string const & options = "", std::string const & runner = "") const {
      return runProgram("reload --socket " + socket + " " + options, runner);
   }
   std::string configFile() const { return folder.string() + "/agent.toml"; }
   unsigned reloads() const { return state["configuration"]["reloads"].GetUint(); }
};

TEST_F(ReloadProgramTest, SaysWhatTakesEffect) {
   start();
   EXPECT_EQ(state["configuration"]["file"], configFile().c_str());
   EXPECT_FALSE(state["configuration"].HasMember("lastReload"));
   config("[clock]\ntime_scale = 2\n", "poll_interval = 1\n");
   Output const changed = reload();
   EXPECT_EQ(changed.exitCode, 0);
   EXPECT_EQ(
       changed.text,
       "configuration reloaded: poll_interval takes effect now; clock.time_scale takes effect at the next "
       "start\n");
   Output const unchanged = reload("--config " + folder.string() + "/./agent.toml");
   EXPECT_EQ(unchanged.exitCode, 0);
   EXPECT_TRUE(unchanged.text.starts_with("configuration reloaded: clock.time_scale takes"))
       << unchanged.text;
   ASSERT_TRUE(readState());
   EXPECT_EQ(reloads(), 2U);
   EXPECT_TRUE(state["configuration"]["lastReload"]["good"].GetBool());
   EXPECT_GT(state["configuration"]["lastReload"]["time"].GetDouble(), 1e9);
   EXPECT_EQ(std::string{state["configuration"]["lastReload"]["text"].GetString()} + "\n", unchanged.text);
}

TEST_F(ReloadProgramTest, NamesFileAndLineOfAnErrorAndLeavesTheAgentAlone) {
   start();
   config("", "poll_interval = 0\n");
   Output const refused = reload();
   EXPECT_EQ(refused.exitCode, 2);
   EXPECT_EQ(refused.text, configFile() +
                               ":1: poll_interval: must be a whole number of seconds, 1 or more, not 0; the "
                               "agent's configuration stays as it was\n");
   config("", "poll_interval = 1\n");
   unit.etcFileIs("blockdev", "good drive\n[x flash\n");
   Output const appliance = reload();
   EXPECT_EQ(appliance.exitCode, 2);
   EXPECT_TRUE(appliance.text.starts_with((unit.etcFolder() / "blockdev:2: the pattern [x").string()))
       << appliance.text;
   ASSERT_TRUE(readState());
   EXPECT_EQ(reloads(), 0U);
   readLog();
   EXPECT_EQ(log.find("reloaded"), std::string::npos) << log;
}

TEST_F(ReloadProgramTest, RefusesAFileThatIsNotTheAgents) {
   start();
   std::string const other = folder.write("other.toml", "poll_interval = 1\n");
   Output const refused = reload("--config " + other);
   EXPECT_EQ(refused.exitCode, 2);
   EXPECT_EQ(refused.text, other + ": the agent reads another file, " + configFile() +
                               ": change that, or start the agent with --config\n");
   ASSERT_TRUE(readState());
   EXPECT_EQ(reloads(), 0U);
}

TEST_F(ReloadProgramTest, ForgetsADiskThatIsGone) {
   start();
   ASSERT_TRUE(waitInRealTime([&] { return state["mountPoints"].HasMember("/mnt/drive"); })) << log;
   unit.unplug("sda");
   ASSERT_TRUE(waitInRealTime([&] { return state["unit"]["verdict"] == "absent"; })) << log;
   Output const reloaded = reload();
   EXPECT_EQ(reloaded.exitCode, 0);
   EXPECT_EQ(reloaded.text,
             "configuration reloaded: nothing in it has changed; records of removed disks deleted: 1\n");
   ASSERT_TRUE(readState());
   EXPECT_FALSE(state["verdicts"].HasMember("SN-A"));
}

// The agent alone knows that its pipe is at its end.
TEST_F(ReloadProgramTest, ReportsTheAgentsOwnError) {
   std::string const command =
       std::string{"exec "} + AGENT_PROGRAM + " agent --config <(cat " + configFile() + ")";
   agent = std::make_unique<Demo::AgentProcess>("/bin/bash", std::vector<std::string>{"-c", command},
                                                unit.environment());
   ASSERT_TRUE(waitInRealTime([&] { return has("SN-A"); })) << log;
   Output const refused = reload();
   EXPECT_EQ(refused.exitCode, 2);
   EXPECT_NE(refused.text.find("is a pipe, which can be read only once"), std::string::npos) << refused.text;
   EXPECT_TRUE(refused.text.ends_with("; the configuration stays as it was\n")) << refused.text;
}

TEST_F(ReloadProgramTest, TellsWhoMaySignalTheAgent) {
   if (geteuid() != 0)
      GTEST_SKIP() << "only root can become another user";
   start();
   std::filesystem::permissions(folder.path(), std::filesystem::perms{0755});
   std::filesystem::permissions(socket, std::filesystem::perms{0666});
   std::filesystem::permissions(unit.etcFolder().parent_path(), std::filesystem::perms{0755});
   std::filesystem::permissions(unit.folder().parent_path(), std::filesystem::perms{0755});
   Output const refused = reload("", "setpriv --reuid 65534 --clear-groups ");
   EXPECT_EQ(refused.exitCode, 1);
   EXPECT_EQ(refused.text, "the agent (process " + std::to_string(agentPid()) +
                               ") belongs to another user: run this as root or as that user\n");
}

// In a container the agent has another number than outside.
TEST_F(ReloadProgramTest, SignalsAnAgentThatSeesItselfAsProcessOne) {
   std::string const container = "unshare --user --map-root-user --pid --fork --kill-child ";
   if (shell(container + "true").exitCode != 0)
      GTEST_SKIP() << "no process may be put into a container";
   std::string const command = "exec " + container + AGENT_PROGRAM + " agent --config " + configFile();
   agent = std::make_unique<Demo::AgentProcess>("/bin/bash", std::vector<std::string>{"-c", command},
                                                unit.environment());
   ASSERT_TRUE(waitInRealTime([&] { return has("SN-A"); })) << log;
   ASSERT_EQ(state["configuration"]["processId"].GetInt(), 1);
   Output const reloaded = reload();
   EXPECT_EQ(reloaded.exitCode, 0);
   EXPECT_EQ(reloaded.text, "configuration reloaded: nothing in it has changed\n");
}

TEST_F(ReloadProgramTest, NeedsAnAgent) {
   Output const refused = reload();
   EXPECT_EQ(refused.exitCode, 1);
   EXPECT_TRUE(refused.text.starts_with(socket + ": the socket does not exist: is the agent running?"))
       << refused.text;
}

std::sig_atomic_t volatile hangups = 0;

// An agent that is this process, whatever number it says that it has.
class ReloadOfFakeTest : public ReloadProgramTest {
 protected:
   ReloadOfFakeTest() {
      hangups = 0;
      std::filesystem::create_directory(folder.path() / "run");
      std::signal(SIGHUP, [](int) { hangups = hangups + 1; });
   }
   ~ReloadOfFakeTest() override { std::signal(SIGHUP, SIG_DFL); }

   std::string document(pid_t process, int reloads) const {
      return R"({"configuration": {"file": ")" + configFile() + R"(", "processId": )" +
             std::to_string(process) + R"(, "reloads": )" + std::to_string(reloads) +
             R"(, "lastReload": {"good": true, "text": "a\u001btext"}}})";
   }
};

TEST_F(ReloadOfFakeTest, SendsOneSignalAndShowsTheAgentsTextEscaped) {
   Support::FakeAgent const fake{socket, Support::FakeAgent::answering([this](std::string const &) {
                                    return document(getpid(), hangups);
                                 })};
   Output const reloaded = reload();
   EXPECT_EQ(reloaded.exitCode, 0);
   EXPECT_EQ(reloaded.text, "a\\x1btext\n");
   EXPECT_EQ(hangups, 1);
}

TEST_F(ReloadOfFakeTest, SendsNoSignalToARelay) {
   Support::FakeAgent const fake{socket, Support::FakeAgent::answering([this](std::string const &) {
                                    return document(getpid() + 1, 0);
                                 })};
   Output const refused = reload();
   EXPECT_EQ(refused.exitCode, 1);
   EXPECT_EQ(refused.text,
             socket +
                 ": another process stands between this socket and the agent: reload it where it "
                 "runs, by SIGHUP to its process " +
                 std::to_string(getpid() + 1) + "\n");
   EXPECT_EQ(hangups, 0);
}

TEST_F(ReloadOfFakeTest, SendsNoSignalToAProgramThatSaysNothingOfAConfiguration) {
   Support::FakeAgent const fake{
       socket, Support::FakeAgent::answering([](std::string const &) { return R"({"configuration": {}})"; })};
   Output const refused = reload();
   EXPECT_EQ(refused.exitCode, 1);
   EXPECT_TRUE(refused.text.starts_with("the agent does not say where its configuration is: "))
       << refused.text;
   EXPECT_EQ(hangups, 0);
}

TEST_F(ReloadOfFakeTest, WaitsFiveSecondsForAReport) {
   Support::FakeAgent const fake{
       socket, Support::FakeAgent::answering([this](std::string const &) { return document(getpid(), 7); })};
   Output const refused = reload();
   EXPECT_EQ(refused.exitCode, 1);
   EXPECT_EQ(refused.text, "the agent (process " + std::to_string(getpid()) +
                               ") reports no reload within 5000 ms: see its log\n");
   EXPECT_EQ(hangups, 1);
}

TEST_F(ReloadOfFakeTest, NoticesARestart) {
   Support::FakeAgent const fake{socket, Support::FakeAgent::answering([this](std::string const &) {
                                    return document(getpid() + hangups, 0);
                                 })};
   Output const refused = reload();
   EXPECT_EQ(refused.exitCode, 1);
   EXPECT_EQ(refused.text, "the agent was restarted meanwhile, and so has read its configuration\n");
}

}  // namespace
