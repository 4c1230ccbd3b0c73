// What the running program makes of signals: it ends cleanly, or reads its configuration again.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <random>
#include <string>

#include "tests/integration/agent/AgentProgramTest.h"

namespace {

class AgentSignalsTest : public AgentProgramTest {
 protected:
   void startReady() {
      start();
      ASSERT_TRUE(waitInRealTime([&] { return has("SN-A") && state["internalDevicesReady"].GetBool(); }))
          << log;
   }
   void reload() const { signalAgent(SIGHUP); }
};

TEST_F(AgentSignalsTest, EndsCleanlyAtEverySignalThatEndsAProcess) {
   for (int const signal : {SIGUSR1, SIGUSR2, SIGALRM, SIGQUIT, SIGINT, SIGTERM}) {
      startReady();
      EXPECT_TRUE(endsBy(signal)) << signal;
      EXPECT_FALSE(std::filesystem::exists(socket)) << signal;
      EXPECT_EQ(watchingProcesses(), 0U) << signal;
      EXPECT_EQ(agent->stop(), "exit code 0") << signal;
   }
}

TEST_F(AgentSignalsTest, AppliesChangesAtASighupAndNamesThoseForTheNextStart) {
   startReady();
   unsigned const runs = state["tools"]["runs"].GetUint();
   config("[clock]\ntime_scale = 2\n[trace]\nStorageConnectedDevicesSm = 2\n", "poll_interval = 1\n");
   toolsKeyIs("timeout = 5");
   reload();
   EXPECT_TRUE(logs(
       "info storagedevices: configuration reloaded: poll_interval, tools.timeout, trace take effect now; "
       "clock.time_scale takes effect at the next start\n"))
       << log;
   EXPECT_TRUE(waitInRealTime([&] { return state["tools"]["runs"].GetUint() > runs + 1; })) << log;
   unit.plug(StorageDevices::Simulation::usbDisk("sdb", "1-1.2", "STICK", "Stick", 60000000));
   EXPECT_TRUE(logs(" trace StorageConnectedDevicesSm/2 ")) << log;
   config("", "poll_interval = 1\n");
   toolsKeyIs("timeout = 5");
   reload();
   EXPECT_TRUE(logs("configuration reloaded: trace takes effect now\n")) << log;
}

TEST_F(AgentSignalsTest, ChangesNothingForABadConfigurationAndReportsFileAndLine) {
   startReady();
   config("[trace]\nNoSuchFacility = 1\n", "poll_interval = 1\n");
   reload();
   EXPECT_TRUE(logs(" error storagedevices: " + folder.string() +
                    "/agent.toml:15: trace.NoSuchFacility: is no trace "
                    "facility; these are "))
       << log;
   EXPECT_TRUE(logs("; the configuration stays as it was\n")) << log;
   std::filesystem::remove(folder.path() / "agent.toml");
   reload();
   EXPECT_TRUE(
       logs("/agent.toml: cannot be read: No such file or directory; name the file to use with --config; the "
            "configuration stays as it was\n"))
       << log;
   config("", "");
   reload();
   EXPECT_TRUE(logs("configuration reloaded: nothing in it has changed\n")) << log;
}

TEST_F(AgentSignalsTest, ForgetsDisksThatAreGoneAtAReloadAndNoMessage) {
   startReady();
   ASSERT_TRUE(waitInRealTime([&] { return state["mountPoints"].HasMember("/mnt/drive"); })) << log;
   unit.unplug("sda");
   ASSERT_TRUE(waitInRealTime([&] { return !has("SN-A"); })) << log;
   ASSERT_TRUE(state["storageDevicesInfo"]["fsList"].HasMember("SN-A"));
   std::string const messages = Command::askAgent(socket, "/api/v1/messages");
   ASSERT_NE(messages.find("STORAGEDEVICE_OFFLINE"), std::string::npos);
   reload();
   EXPECT_TRUE(waitInRealTime([&] { return state["storageDevicesInfo"]["fsList"].ObjectEmpty(); })) << log;
   EXPECT_TRUE(logs("; records of removed disks deleted: 1\n")) << log;
   EXPECT_EQ(Command::askAgent(socket, "/api/v1/messages").substr(0, messages.size() - 2),
             messages.substr(0, messages.size() - 2));
}

// Ended at whatever moment of its start, it leaves nothing behind.
TEST_F(AgentSignalsTest, LeavesNothingAfterASigtermAtAnyMomentOfTheStart) {
   unit.tools().delayIs(StorageDevices::Simulation::Tool::hdparm, "sda", 0.05);
   std::mt19937 random{5};  // NOLINT(cert-msc51-cpp): the same moments each time
   for (int round = 0; round < 25; ++round) {
      agent = std::make_unique<Demo::AgentProcess>(
          AGENT_PROGRAM, std::vector<std::string>{"agent", "--config", folder.string() + "/agent.toml"},
          unit.environment());
      int const moment = static_cast<int>(random() % 60);
      pollfd never{-1, 0, 0};
      poll(&never, 1, moment);
      std::string const ending = agent->stop();
      // Before there is anything to clean up the signal ends it by itself.
      EXPECT_TRUE(ending == "exit code 0" || ending == "signal 15") << ending << " after " << moment << " ms";
      EXPECT_FALSE(std::filesystem::exists(socket) || std::filesystem::exists(kernelSocket)) << moment;
      EXPECT_EQ(watchingProcesses(), 0U) << moment;
   }
}

TEST_F(AgentSignalsTest, ReadsAConfigurationThroughAPipe) {
   // The latter as shells name the pipe that stands for a command's output.
   for (std::string const name : {"/dev/stdin", "/dev/fd/0"}) {
      Output const checked =
          runProgram("check-config --config " + name, "cat " + folder.string() + "/agent.toml | ");
      EXPECT_EQ(checked.exitCode, 0);
      EXPECT_TRUE(checked.text.starts_with(name + ": valid\n")) << checked.text;
   }
}

TEST_F(AgentSignalsTest, EndsItsWaitForAConfigurationThatNeverComes) {
   std::string const fifo = folder.string() + "/fifo";
   ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
   Output const refused = runProgram("agent --config " + fifo);
   EXPECT_EQ(refused.exitCode, 2);
   EXPECT_EQ(refused.text,
             fifo + ": is a pipe, which may stay open for ever; name a regular file with --config\n");
}

TEST_F(AgentSignalsTest, MakesOpenDirectoriesWhateverTheUmask) {
   for (mode_t const mask : {0077U, 0U}) {
      mode_t const before = umask(mask);
      start();
      umask(before);
      for (char const * const made : {"run", "mount-source"}) {
         struct stat status {};
         ASSERT_EQ(stat((folder.path() / made).c_str(), &status), 0) << made;
         EXPECT_EQ(status.st_mode & 07777U, 0755U) << made << " under umask " << mask;
      }
      agent.reset();
      std::filesystem::remove_all(folder.path() / "run");
      std::filesystem::remove_all(folder.path() / "mount-source");
   }
}

}  // namespace
