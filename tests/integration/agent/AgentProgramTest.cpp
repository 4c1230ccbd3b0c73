// The program itself on a simulated unit: what it serves, how it follows the unit, how it ends.

#include <gtest/gtest.h>
#include <poll.h>
#include <rapidjson/document.h>
#include <sys/wait.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "agent/StatusClient.h"
#include "agent/demo/AgentProcess.h"
#include "agent/simulation/SimulatedUnit.h"
#include "tests/support/TempDir.h"

namespace {

using Agent::Demo::AgentProcess;
using Agent::Simulation::Tool;
namespace Simulation = Agent::Simulation;

struct Output {
   int exitCode;
   std::string text;  // of both standard output and error
};

Output runProgram(std::string const & arguments) {
   std::unique_ptr<FILE, int (*)(FILE *)> pipe{
       popen((std::string{AGENT_PROGRAM} + " " + arguments + " 2>&1").c_str(), "r"),
       [](FILE *) { return 0; }};
   std::string text;
   std::array<char, 4096> buffer{};
   for (std::size_t count = 0; (count = std::fread(buffer.data(), 1, buffer.size(), pipe.get())) > 0;)
      text.append(buffer.data(), count);
   int const status = pclose(pipe.release());
   return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text};
}

class AgentProgramTest : public testing::Test {
 protected:
   AgentProgramTest() {
      unit.blockdevIs(
          {{".*/ata1/", "drive"}, {".*/ata2/", "flash"}, {".*/nvme/", "drive2"}, {".*/usb", "usb1"}});
      addDrive("sda", 1, "SN-A");
      config("");
   }

   void addDrive(char const * name, unsigned port, char const * serial) {
      auto const disk =
          Simulation::sataDisk(name, port, std::string{"UDEV-"} + serial, "Test Disk", 500118192);
      unit.add(disk);
      unit.tools().outputIs(Tool::hdparm, name,
                            Simulation::hdparmReport({name, "Test Disk", serial, "F1", 500118192}));
   }

   void config(std::string const & more) {
      folder.fileIs("agent.toml", "[appliance]\netc_dir = \"" + unit.etcFolder().string() +
                                      "\"\n[tools]\npath = \"" + unit.toolsPath().string() +
                                      "\"\n[status]\nsocket = \"" + socket + "\"\n" + more);
   }

   void start() {
      agent = std::make_unique<AgentProcess>(
          AGENT_PROGRAM, std::vector<std::string>{"agent", "--config", folder.string() + "/agent.toml"},
          unit.environment());
      ASSERT_TRUE(eventually([] { return true; })) << "the agent does not answer";
   }

   // Asks until the condition holds of the state, ten seconds at most.
   bool eventually(std::function<bool()> const & holds) {
      auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds{10};
      while (std::chrono::steady_clock::now() < deadline) {
         for (std::string const & line : agent->lines())
            log += line + "\n";
         try {
            std::string const text = Agent::askAgent(socket, "/api/v1/state");
            state.Parse(text.c_str());
            if (holds())
               return true;
         } catch (Agent::StatusError const &) {
            if (!agent->running())
               return false;
         }
         pollfd output{agent->outputDescriptor(), POLLIN, 0};
         poll(&output, 1, 10);
      }
      return false;
   }

   // Number of processes that were started to see the unit: the agent and all its children.
   std::size_t watchingProcesses() const {
      std::string const mark = unit.environment().at("UMOCKDEV_DIR");
      std::size_t count = 0;
      for (auto const & process : std::filesystem::directory_iterator{"/proc"})
         count += Support::fileContent(process.path() / "environ").find(mark) != std::string::npos;
      return count;
   }

   rapidjson::Value const & disks() const { return state["connectedDevices"]["disk"]; }
   bool has(char const * name) const { return disks().HasMember(name); }

   Support::TempDir folder;
   std::string socket = folder.string() + "/run/status.sock";
   Simulation::SimulatedUnit unit;
   std::unique_ptr<AgentProcess> agent;
   std::string log;
   rapidjson::Document state;
};

TEST_F(AgentProgramTest, ShowsTheDisksThatItFound) {
   start();
   ASSERT_TRUE(eventually([&] { return has("SN-A") && state["internalDevicesReady"].GetBool(); })) << log;
   auto const & disk = disks()["SN-A"];
   EXPECT_STREQ(disk["blockDevice"].GetString(), "/dev/sda");
   EXPECT_STREQ(disk["mountPoint"].GetString(), "/mnt/drive");
   EXPECT_STREQ(disk["deviceIntfAndAddress"].GetString(), "ata1");
   EXPECT_EQ(disk["sizeGb"].GetUint(), 256U);
   EXPECT_STREQ(state["connectedDevices"]["udevSerialToSerialMap"]["UDEV-SN-A"].GetString(), "SN-A");
}

TEST_F(AgentProgramTest, FollowsPlugAndPull) {
   start();
   unit.plug(Simulation::usbDisk("sdb", "1-1.2", "STICK", "Stick", 60000000));
   EXPECT_TRUE(eventually([&] { return has("STICK"); })) << log;
   EXPECT_STREQ(disks()["STICK"]["deviceIntfAndAddress"].GetString(), "usb 1-1.2");
   unit.unplug("sdb");
   EXPECT_TRUE(eventually([&] { return !has("STICK"); })) << log;
   unit.unplug("sda");
   EXPECT_TRUE(eventually([&] { return disks().ObjectEmpty(); })) << log;
}

TEST_F(AgentProgramTest, ADiskPulledWhileItsToolHangsLeavesNothing) {
   addDrive("sdb", 2, "SN-B");
   unit.tools().hangsIs(Tool::hdparm, "sdb", true);
   start();
   ASSERT_TRUE(eventually([&] { return has("SN-A") && unit.tools().runs().size() == 2; })) << log;
   EXPECT_FALSE(state["internalDevicesReady"].GetBool());
   unit.unplug("sdb");
   ASSERT_TRUE(eventually([&] { return state["internalDevicesReady"].GetBool(); })) << log;
   EXPECT_EQ(disks().MemberCount(), 1U);
}

TEST_F(AgentProgramTest, AToolThatHangsIsEndedAndTheDiskIsShownUnidentified) {
   addDrive("sdb", 2, "SN-B");
   unit.tools().hangsIs(Tool::hdparm, "sdb", true);
   config("");
   std::string const text = folder.content("agent.toml");
   std::size_t const at = text.find("[tools]\n") + 8;
   folder.fileIs("agent.toml", text.substr(0, at) + "timeout = 1\n" + text.substr(at));
   start();
   EXPECT_TRUE(eventually([&] { return has("UDEV-SN-B"); })) << log;
}

TEST_F(AgentProgramTest, StopsCleanlyWhileAToolRuns) {
   unit.tools().hangsIs(Tool::hdparm, "sda", true);
   start();
   ASSERT_TRUE(eventually([&] { return unit.tools().runs().size() == 1; })) << log;
   EXPECT_EQ(watchingProcesses(), 2U);
   EXPECT_EQ(agent->stop(), "exit code 0");
   EXPECT_FALSE(std::filesystem::exists(socket));
   EXPECT_EQ(watchingProcesses(), 0U);
}

TEST_F(AgentProgramTest, ASecondAgentIsRefusedAndTheFirstGoesOn) {
   start();
   Output const second = runProgram("agent --config " + folder.string() + "/agent.toml");
   EXPECT_EQ(second.exitCode, 1);
   EXPECT_EQ(second.text,
             socket + ": another agent answers there; stop it first or set status.socket elsewhere\n");
   EXPECT_TRUE(eventually([&] { return has("SN-A"); }));
}

TEST_F(AgentProgramTest, StatusShowsTheTable) {
   start();
   ASSERT_TRUE(eventually([&] { return has("SN-A") && state["internalDevicesReady"].GetBool(); })) << log;
   Output const status = runProgram("status --socket " + socket);
   EXPECT_EQ(status.exitCode, 0);
   EXPECT_NE(status.text.find("SN-A"), std::string::npos) << status.text;
   Output const json = runProgram("status --json --socket " + socket);
   rapidjson::Document document;
   document.Parse(json.text.c_str());
   EXPECT_TRUE(document["connectedDevices"]["disk"].HasMember("SN-A"));
}

TEST_F(AgentProgramTest, StatusWithoutAnAgentSaysWhatToDo) {
   Output const status = runProgram("status --socket /nowhere/status.sock");
   EXPECT_EQ(status.exitCode, 1);
   EXPECT_NE(status.text.find("/nowhere/status.sock"), std::string::npos) << status.text;
   EXPECT_EQ(status.text.find('\n'), status.text.size() - 1);
}

TEST_F(AgentProgramTest, AWrongConfigurationIsOneLineAndTwo) {
   config("[clock]\ntime_scale = 0\n");
   Output const agentOutput = runProgram("agent --config " + folder.string() + "/agent.toml");
   EXPECT_EQ(agentOutput.exitCode, 2);
   EXPECT_NE(agentOutput.text.find("agent.toml:8: clock.time_scale: "), std::string::npos)
       << agentOutput.text;
   EXPECT_EQ(runProgram("check-config --config " + folder.string() + "/agent.toml").exitCode, 2);
   EXPECT_EQ(runProgram("fly").exitCode, 2);
}

TEST_F(AgentProgramTest, CheckConfigTellsWhatEachDeviceWouldBecome) {
   unit.add(Simulation::sataDisk("sdq", 9, "STRANGE", "Other", 1000000));
   unit.add(Simulation::usbDisk("sdb", "1-1.2", "STICK", "Stick", 60000000));
   Output const checked = runProgram("check-config --config " + folder.string() + "/agent.toml");
   EXPECT_EQ(checked.exitCode, 0);
   for (char const * const line :
        {"agent.toml: good\n", "blockdev: 4 entries\n",
         "/dev/sda: fixed: /mnt/drive, sata (ata1), 256 GB, identified by hdparm -I\n",
         "/dev/sdb: removable: /mnt/usb1, usb (usb 1-1.2), 31 GB, known by what udev says of it\n",
         "/dev/sdq: skipped: no entry of blockdev matches its path\n",
         "expected mount flash: no device on this machine would become /mnt/flash\n"})
      EXPECT_NE(checked.text.find(line), std::string::npos) << "missing: " << line << "in:\n" << checked.text;
   EXPECT_TRUE(unit.tools().runs().empty());
}

TEST_F(AgentProgramTest, TheCatalogueHasTenMessages) {
   Output const catalogue = runProgram("catalogue --json");
   rapidjson::Document document;
   document.Parse(catalogue.text.c_str());
   ASSERT_EQ(document["messages"].Size(), 10U);
   EXPECT_STREQ(document["messages"][0]["name"].GetString(), "STORAGEDEVICE_LIFETIME_WARNING");
   EXPECT_EQ(document["messages"][9]["recommendedAction"].GetInt(), 2);
}

}  // namespace
