// The running program where the system gives it no more processes, descriptors or memory. At its start it
// prints one line that names cause and remedy. Later its readings fail, and recover.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "runtime/Vorn/Shortage.h"
#include "tests/integration/agent/AgentProgramTest.h"

namespace {

namespace fs = std::filesystem;

// A user that has no other process, since all of a user's count.
constexpr uid_t strangerId = 54321;

class ScarceProcessesTest : public AgentProgramTest {
 protected:
   static std::string asStranger() {
      std::string const id = std::to_string(strangerId);
      return "/usr/bin/setpriv --reuid=" + id + " --regid=" + id + " --clear-groups ";
   }

   // Why the program cannot be run as that user; empty where it can.
   static std::string lacking() {
      if (geteuid() != 0)
         return "only root runs the agent as another user, whose processes are limited";
      Output const tried = runProgram("--version", asStranger());
      return tried.exitCode == 0 ? "" : "another user cannot run the program: " + tried.text;
   }

   ScarceProcessesTest() { config("", "poll_interval = 1\n"); }

   void start(rlim_t processes) {
      for (fs::path const & shared :
           {folder.path(), unit.folder(), fs::path{unit.environment().at("UMOCKDEV_DIR")}})
         giveAway(shared);
      std::string const id = std::to_string(strangerId);
      // The limit comes last: what changes its user beyond it cannot start a program.
      agent = std::make_unique<Demo::AgentProcess>(
          "/usr/bin/setpriv",
          std::vector<std::string>{"--reuid=" + id, "--regid=" + id, "--clear-groups", "/usr/bin/prlimit",
                                   "--nproc=" + std::to_string(processes) + ":", AGENT_PROGRAM, "agent",
                                   "--config", folder.string() + "/agent.toml"},
          unit.environment());
      ASSERT_TRUE(waitInRealTime([] { return true; })) << "the agent does not answer" << log;
   }
   static void giveAway(fs::path const & path) {
      std::error_code ignored;
      EXPECT_EQ(lchown(path.c_str(), strangerId, strangerId), 0) << path;
      for (auto const & entry : fs::recursive_directory_iterator{path, ignored})
         EXPECT_EQ(lchown(entry.path().c_str(), strangerId, strangerId), 0) << entry.path();
   }

   // From now on. Its own user may set it, root only with a further privilege.
   void processesAre(rlim_t most) const {
      std::string const command = asStranger() + "/usr/bin/prlimit --pid=" + std::to_string(agentPid()) +
                                  " --nproc=" + std::to_string(most) + ":";
      ASSERT_EQ(std::system(command.c_str()), 0) << command;
   }
   bool isRead() const {
      if (!state["readings"].HasMember("SN-A"))
         return false;
      for (auto const & reading : state["readings"]["SN-A"].GetArray())
         if (std::string_view{reading["source"].GetString()} == "smartctl")
            return reading.HasMember("lastGood") && !reading.HasMember("failingSince");
      return false;
   }
};

TEST_F(ScarceProcessesTest, ReportsCauseAndRemedyOfFailedReadingsAndRecoversWithTheLimit) {
   if (std::string const reason = lacking(); !reason.empty())
      GTEST_SKIP() << reason;
   start(1000);
   ASSERT_TRUE(waitInRealTime([&] { return has("SN-A") && isRead(); })) << log;
   processesAre(3);  // the loop, its watchdog and the log's
   ASSERT_TRUE(
       logs(" warning storagedevices: smartctl cannot be started, so its readings fail until it can: " +
            Vorn::errorAndRemedy(EAGAIN) + "\n"))
       << log;
   EXPECT_TRUE(waitInRealTime([&] { return has("SN-A") && !isRead(); })) << log;
   EXPECT_NE(Command::askAgent(socket, "/healthz").find("\"ok\""), std::string::npos);
   processesAre(1000);
   ASSERT_TRUE(logs(" info storagedevices: smartctl can be started again\n")) << log;
   EXPECT_TRUE(waitInRealTime([&] { return isRead(); })) << log;
   EXPECT_EQ(agent->stop(), "exit code 0");
}

TEST_F(ScarceProcessesTest, FindsDisksAndWatchdogOfAnAgentStartedWithoutProcessesLater) {
   if (std::string const reason = lacking(); !reason.empty())
      GTEST_SKIP() << reason;
   start(1);
   std::string const why = Vorn::errorAndRemedy(EAGAIN) + "\n";
   ASSERT_TRUE(logs(" warning storagedevices: the watchdog cannot be started and will be retried: "));
   ASSERT_TRUE(logs(" error storagedevices: /dev/sda: not classified: expr cannot be started: " + why))
       << log;
   EXPECT_TRUE(disks().ObjectEmpty());
   processesAre(1000);
   EXPECT_TRUE(logs(" info storagedevices: the watchdog has started\n")) << log;
   EXPECT_TRUE(waitInRealTime([&] { return has("SN-A") && isRead(); }, std::chrono::seconds{20})) << log;
   EXPECT_EQ(agent->stop(), "exit code 0");
}

TEST_F(ScarceProcessesTest, CallsNoUnitGoodWhileADeviceWaitsToBeClassified) {
   if (std::string const reason = lacking(); !reason.empty())
      GTEST_SKIP() << reason;
   config("[clock]\ntime_scale = 100\n");
   keyIs("appliance", "expected_mounts = []");
   auto const verdict = [&] { return std::string{state["unit"]["verdict"].GetString()}; };
   start(1);
   ASSERT_TRUE(logs("No monitoring state machine instantiated")) << log;
   ASSERT_TRUE(waitInRealTime([] { return true; })) << log;
   EXPECT_EQ(verdict(), "unknown");
   processesAre(1000);
   EXPECT_TRUE(waitInRealTime([&] { return has("SN-A") && verdict() == "ok"; }, std::chrono::seconds{20}))
       << log;
   EXPECT_EQ(agent->stop(), "exit code 0");
}

class ScarceStartTest : public AgentProgramTest {
 protected:
   // Without the descriptors that the caller of the tests has left open, and without the search for leaks,
   // which opens some of its own.
   Output startWith(int limit) const {
      std::string const closing =
          R"(ASAN_OPTIONS="$ASAN_OPTIONS:detect_leaks=0" bash -c 'for each in /proc/$$/fd/*; do each=${each##*/}; )"
          R"([ $each -lt 3 ] || eval "exec $each>&-"; done; exec "$@"' bash )";
      return runProgram("agent --config " + folder.string() + "/agent.toml",
                        closing + "/usr/bin/prlimit --nofile=" + std::to_string(limit) + " ");
   }
   static std::string lastLine(std::string text) {
      text.erase(text.find_last_not_of('\n') + 1);
      return text.substr(text.rfind('\n') + 1);
   }
};

TEST_F(ScarceStartTest, ReportsAMissingDescriptorForItsLoopInOneLine) {
   Output const started = startWith(4);
   EXPECT_EQ(started.exitCode, 1) << started.text;
   std::string const last = lastLine(started.text);
   EXPECT_NE(last.find(Vorn::errorAndRemedy(EMFILE)), std::string::npos) << started.text;
   EXPECT_EQ(started.text.find("terminate"), std::string::npos) << started.text;
}

TEST_F(ScarceStartTest, EndsWithCauseAndRemedyWhateverItsFirstDescriptorsAre) {
   fs::create_directories(socket);  // nothing can listen there, so that it ends at once
   for (int const limit : {4, 5, 6, 7, 8}) {
      Output const started = startWith(limit);
      EXPECT_EQ(started.exitCode, 1) << limit << ": " << started.text;
      std::string const last = lastLine(started.text);
      EXPECT_TRUE(last.find(Vorn::errorAndRemedy(EMFILE)) != std::string::npos ||
                  last.find(" remove it or set status.socket elsewhere") != std::string::npos)
          << limit << ": " << started.text;
   }
}

}  // namespace
