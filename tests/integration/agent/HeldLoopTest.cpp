// The running program while a call does not come back: what the watchdog tells of it, and to whom.

#include <gtest/gtest.h>
#include <poll.h>
#include <rapidjson/document.h>

#include <chrono>
#include <filesystem>
#include <regex>
#include <string>

#include "tests/integration/agent/AgentProgramTest.h"
#include "tests/support/MountNamespace.h"
#include "tests/support/NotifySocket.h"

namespace {

class HeldLoopTest : public AgentProgramTest {
 protected:
   // The first such call of the agent is held, until `release`.
   void startHeld(char const * call) {
      folder.fileIs("held", "");
      auto environment = unit.environment();
      environment["LD_PRELOAD"] = std::string{HELD_CALLS ":"} + environment["LD_PRELOAD"];
      environment["HELD_CALL"] = call;
      environment["HELD_WHILE"] = folder.string() + "/held";
      environment["NOTIFY_SOCKET"] = manager.name();
      environment["WATCHDOG_USEC"] = "400000";
      agent = std::make_unique<Agent::Demo::AgentProcess>(
          AGENT_PROGRAM, std::vector<std::string>{"agent", "--config", folder.string() + "/agent.toml"},
          environment);
   }
   void release() const { std::filesystem::remove(folder.path() / "held"); }

   // Waits for a line like that, twenty seconds at most.
   bool says(std::string const & pattern) {
      std::regex const expected{pattern};
      auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds{20};
      while (!std::regex_search(log, expected)) {
         if (std::chrono::steady_clock::now() > deadline || !agent->running())
            return false;
         pollfd output{agent->outputDescriptor(), POLLIN, 0};
         poll(&output, 1, 100);
         for (std::string const & line : agent->lines())
            log += line + "\n";
      }
      return true;
   }
   rapidjson::Document health() const {
      rapidjson::Document document;
      document.Parse(Agent::askAgent(socket, "/healthz").c_str());
      return document;
   }

   Support::NotifySocket manager{folder.string() + "/notify"};
};

TEST_F(HeldLoopTest, ADiskThatDoesNotAnswerIsNamedWithTheCallThatWaitsForIt) {
   if (std::string const lacking = Support::ownMountTable(); !lacking.empty())
      GTEST_SKIP() << lacking;
   Support::MountedFolder const drive{"/dev/sda", "/mnt/drive"};
   ASSERT_TRUE(drive);
   config("[clock]\ntime_scale = 1000\n", "poll_interval = 86400\n");
   startHeld("fsync");
   ASSERT_TRUE(
       says("\n[0-9TZ:.-]+ warning storagedevices: the loop has been held for [67] s by fsync of /mnt/drive "
            "\\(nothing is "
            "polled and no status is served meanwhile; if it lasts, the disk behind it is failing\\)\n"))
       << log;
   manager.told();
   EXPECT_EQ(manager.next(500), "") << "a sign of life is due every tenth of a second";
   release();
   ASSERT_TRUE(says(" info storagedevices: the loop goes on after [678] s; fsync of /mnt/drive held it\n"))
       << log;
   EXPECT_EQ(manager.next(), "WATCHDOG=1");
   auto const document = health();
   EXPECT_STREQ(document["status"].GetString(), "ok");
   EXPECT_EQ(document["holds"]["count"].GetUint(), 1U);
   auto const & last = document["holds"]["last"];
   EXPECT_STREQ(last["operation"].GetString(), "fsync");
   EXPECT_STREQ(last["path"].GetString(), "/mnt/drive");
   EXPECT_GE(last["seconds"].GetDouble(), 5);
   EXPECT_EQ(last["seconds"].GetDouble(), document["holds"]["longestSeconds"].GetDouble());
   std::string const metrics = Agent::askAgent(socket, "/metrics");
   EXPECT_NE(metrics.find("\nstoragedevices_loop_holds_total 1.0"), std::string::npos) << metrics;
   EXPECT_NE(metrics.find("{operation=\"fsync\",path=\"/mnt/drive\"} "), std::string::npos) << metrics;
   EXPECT_EQ(agent->stop(), "exit code 0");
}

TEST_F(HeldLoopTest, TheStartIsWatchedTooAndTheServiceManagerIsToldOfItsEnd) {
   startHeld("rename");
   ASSERT_TRUE(says("the loop has been held for [67] s by write of " + folder.string() +
                    "/mount-source/[a-z0-9]+ \\("))
       << log;
   for (std::string const & told : manager.told())
      EXPECT_EQ(told, "WATCHDOG=1");
   release();
   ASSERT_TRUE(says("the loop goes on after [678] s; write of ")) << log;
   std::string told;
   while ((told = manager.next()) == "WATCHDOG=1")
      continue;
   EXPECT_EQ(told, "READY=1");
   EXPECT_EQ(agent->stop(), "exit code 0");
   std::vector<std::string> const last = manager.told();
   EXPECT_NE(std::find(last.begin(), last.end(), "STOPPING=1"), last.end());
}

TEST_F(HeldLoopTest, ALoopThatIsNotHeldSaysSo) {
   start();
   auto const document = health();
   EXPECT_STREQ(document["status"].GetString(), "ok");
   EXPECT_GE(document["lastTurnAgeSeconds"].GetDouble(), 0);
   EXPECT_EQ(document["holds"]["count"].GetUint(), 0U);
   EXPECT_EQ(document["holds"]["longestSeconds"].GetDouble(), 0);
   EXPECT_FALSE(document["holds"].HasMember("last"));
}

}  // namespace
