// The running program while a call does not return: what its watchdog reports, and the keep-alives.

#include <gtest/gtest.h>
#include <poll.h>
#include <rapidjson/document.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "tests/integration/agent/AgentProgramTest.h"
#include "tests/support/DatagramSocket.h"
#include "tests/support/MountNamespace.h"
#include "tests/support/Regex.h"

namespace {

class StalledLoopTest : public AgentProgramTest {
 protected:
   // The agent's first such call stalls until `release`.
   void startStalled(char const * call) {
      folder.write("stalled", "");
      auto environment = unit.environment();
      environment["LD_PRELOAD"] = std::string{STALLING_CALLS ":"} + environment["LD_PRELOAD"];
      environment["STALLED_CALL"] = call;
      environment["STALLED_WHILE"] = folder.string() + "/stalled";
      environment["NOTIFY_SOCKET"] = manager.name();
      environment["WATCHDOG_USEC"] = "400000";
      agent = std::make_unique<Demo::AgentProcess>(
          AGENT_PROGRAM, std::vector<std::string>{"agent", "--config", folder.string() + "/agent.toml"},
          environment);
   }
   void release() const { std::filesystem::remove(folder.path() / "stalled"); }

   // Waits for a line that matches, without asking the agent, which may be stalled.
   bool reports(std::string const & pattern) {
      Support::Regex const expected{pattern};
      auto const isFound = [&] { return !expected.search(log).empty(); };
      auto const step = [&] {
         pollfd output{agent->outputDescriptor(), POLLIN, 0};
         poll(&output, 1, 100);
         readLog();
      };
      Support::waitInRealTime([&] { return isFound() || !agent->running(); }, step, std::chrono::seconds{20});
      return isFound();
   }
   rapidjson::Document health() const {
      rapidjson::Document document;
      document.Parse(Command::askAgent(socket, "/healthz").c_str());
      return document;
   }

   Support::DatagramSocket manager{folder.string() + "/notify"};
};

TEST_F(StalledLoopTest, NamesTheDiskThatDoesNotAnswerAndTheCallThatWaitsForIt) {
   if (std::string const lacking = Support::ownMountTable(); !lacking.empty())
      GTEST_SKIP() << lacking;
   Support::MountedFolder const drive{"/dev/sda", "/mnt/drive"};
   ASSERT_TRUE(drive);
   // Faster, a loaded machine would not identify the drive within the minute that the start waits for it.
   config("[clock]\ntime_scale = 200\n", "poll_interval = 86400\n");
   startStalled("fsync");
   ASSERT_TRUE(reports(
       "\n[0-9TZ:.-]+ warning storagedevices: the loop has been stalled for [67] s by fsync of /mnt/drive "
       "\\(nothing is "
       "polled and no status is served meanwhile; if it lasts, the disk behind it is failing\\)\n"))
       << log;
   manager.received();
   EXPECT_EQ(manager.next(500), "") << "a keep-alive is due every tenth of a second";
   release();
   ASSERT_TRUE(
       reports(" info storagedevices: the loop runs again after [678] s; fsync of /mnt/drive stalled it\n"))
       << log;
   EXPECT_EQ(manager.next(), "WATCHDOG=1");
   auto const document = health();
   EXPECT_STREQ(document["status"].GetString(), "ok");
   EXPECT_EQ(document["stalls"]["count"].GetUint(), 1U);
   auto const & last = document["stalls"]["last"];
   EXPECT_STREQ(last["operation"].GetString(), "fsync");
   EXPECT_STREQ(last["path"].GetString(), "/mnt/drive");
   EXPECT_GE(last["seconds"].GetDouble(), 5);
   EXPECT_EQ(last["seconds"].GetDouble(), document["stalls"]["longestSeconds"].GetDouble());
   std::string const metrics = Command::askAgent(socket, "/metrics");
   EXPECT_NE(metrics.find("\nstoragedevices_loop_stalls_total 1\n"), std::string::npos) << metrics;
   EXPECT_NE(metrics.find("{operation=\"fsync\",path=\"/mnt/drive\"} "), std::string::npos) << metrics;
   EXPECT_EQ(agent->stop(), "exit code 0");
}

TEST_F(StalledLoopTest, WatchesTheStartTooAndNotifiesTheServiceManagerOfItsEnd) {
   startStalled("rename");
   ASSERT_TRUE(reports("the loop has been stalled for [67] s by write of " + folder.string() +
                       "/mount-source/[a-z0-9]+ \\("))
       << log;
   for (std::string const & sent : manager.received())
      EXPECT_EQ(sent, "WATCHDOG=1");
   release();
   ASSERT_TRUE(reports("the loop runs again after [678] s; write of ")) << log;
   std::string sent;
   while ((sent = manager.next()) == "WATCHDOG=1")
      continue;
   EXPECT_EQ(sent, "READY=1");
   EXPECT_EQ(agent->stop(), "exit code 0");
   std::vector<std::string> const last = manager.received();
   EXPECT_NE(std::find(last.begin(), last.end(), "STOPPING=1"), last.end());
}

TEST_F(StalledLoopTest, ReportsALoopThatIsNotStalledAsSound) {
   start();
   auto const document = health();
   EXPECT_STREQ(document["status"].GetString(), "ok");
   EXPECT_GE(document["lastTurnAgeSeconds"].GetDouble(), 0);
   EXPECT_EQ(document["stalls"]["count"].GetUint(), 0U);
   EXPECT_EQ(document["stalls"]["longestSeconds"].GetDouble(), 0);
   EXPECT_FALSE(document["stalls"].HasMember("last"));
}

}  // namespace
