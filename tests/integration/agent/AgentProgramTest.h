// The program as an operator runs it, on a simulated unit with one identified drive, sda.
#pragma once

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sys/types.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "command/StatusClient.h"
#include "demo/AgentProcess.h"
#include "simulation/SimulatedUnit.h"
#include "tests/integration/agent/Shell.h"
#include "tests/support/RealTime.h"
#include "tests/support/TempDir.h"

class AgentProgramTest : public testing::Test {
 protected:
   AgentProgramTest() {
      unit.blockdevIs(
          {{".*/ata1/", "drive"}, {".*/ata2/", "flash"}, {".*/nvme/", "drive2"}, {".*/usb", "usb1"}});
      addDrive("sda", 1, "SN-A");
      config("");
   }

   // A healthy SATA drive that hdparm identifies.
   StorageDevices::Simulation::Disk addDrive(char const * name, unsigned port, char const * serial) {
      auto disk = StorageDevices::Simulation::sataDisk(name, port, std::string{"UDEV-"} + serial, "Test Disk",
                                                       500118192);
      unit.add(disk);
      unit.tools().outputIs(
          StorageDevices::Simulation::Tool::hdparm, name,
          StorageDevices::Simulation::hdparmReport({name, "Test Disk", serial, "F1", 500118192}));
      unit.healthIs(disk, {});
      return disk;
   }

   // Adds keys to the configuration's top, and further tables, to those that the unit needs.
   void config(std::string const & more, std::string const & top = "") {
      folder.write("agent.toml", top + "[appliance]\netc_dir = \"" + unit.etcFolder().string() +
                                     "\"\nmount_source_dir = \"" + folder.string() + "/mount-source\"\n" +
                                     "[tools]\npath = \"" + unit.toolsPath().string() +
                                     "\"\n[kernel_messages]\nforward_kmsg = false\nsocket = \"" +
                                     kernelSocket + "\"\n[history]\nfile = \"" + folder.string() +
                                     "/history\"\n[status]\nsocket = \"" + socket + "\"\n" + more);
   }

   // A further line of a table of the configuration.
   void keyIs(std::string const & table, std::string const & line) {
      std::string const text = folder.content("agent.toml");
      std::size_t const at = text.find("[" + table + "]\n") + table.size() + 3;
      folder.write("agent.toml", text.substr(0, at) + line + "\n" + text.substr(at));
   }
   void toolsKeyIs(std::string const & line) { keyIs("tools", line); }

   // A healthy NVMe drive.
   StorageDevices::Simulation::Disk addNvme() {
      auto disk = StorageDevices::Simulation::nvmeDrive("nvme0n1", "SN-N", "Test Drive", 1875385008);
      unit.add(disk);
      unit.tools().outputIs(StorageDevices::Simulation::Tool::nvmeList, "nvme0n1",
                            StorageDevices::Simulation::nvmeListDocument(
                                {{"nvme0n1", "Test Drive", "SN-N", "F2", 960197124096}}));
      unit.healthIs(disk, {});
      return disk;
   }
   void addNestedNvmeDrive() {
      unit.add(StorageDevices::Simulation::nvmeDrive("nvme0n1", "UDEV-NVME", "Test Drive", 1875385008));
      unit.tools().outputIs(StorageDevices::Simulation::Tool::nvmeList, "nvme0n1",
                            Support::fileContent(TEST_DATA_DIR "/nvme-compat/2.11/list.json"));
   }

   void start(std::filesystem::path const & program = AGENT_PROGRAM,
              std::map<std::string, std::string> environment = {}) {
      environment.merge(unit.environment());
      agent = std::make_unique<Demo::AgentProcess>(
          program, std::vector<std::string>{"agent", "--config", folder.string() + "/agent.toml"},
          environment);
      ASSERT_TRUE(waitInRealTime([] { return true; })) << "the agent does not answer";
   }

   // With the monitors that wait until all disks are identified.
   void startSettled() {
      start();
      ASSERT_TRUE(waitInRealTime([&] { return state["mountPoints"].HasMember("/mnt/drive"); })) << log;
   }

   // The process that listens on the socket, not a process that started it. -1: none listens.
   pid_t agentPid() const;
   // Its resident memory.
   long residentKilobytes() const;
   void signalAgent(int signal) const { ASSERT_EQ(kill(agentPid(), signal), 0); }

   // Sends the signal and waits, ten seconds at most, until the agent has ended. Processes that it leaves
   // behind still run: they are ended only when `agent` answers how it ended.
   bool endsBy(int signal) const;

   void readLog();
   // Answers whether the agent has answered.
   bool readState();
   // Reads the state document and the log until the condition holds.
   bool waitInRealTime(std::function<bool()> const & condition,
                       std::chrono::seconds limit = std::chrono::seconds{10});
   // Waits until the agent has written the text to its log.
   bool logs(std::string const & text, std::chrono::seconds limit = std::chrono::seconds{20});

   // The number of processes with the unit's environment: the agent and all its children.
   std::size_t watchingProcesses() const {
      std::string const mark = unit.environment().at("UMOCKDEV_DIR");
      std::size_t count = 0;
      for (auto const & process : std::filesystem::directory_iterator{"/proc"})
         count += Support::fileContent(process.path() / "environ").find(mark) != std::string::npos;
      return count;
   }

   std::size_t runsOf(std::string_view tool) {
      auto const runs = unit.tools().runs();
      return static_cast<std::size_t>(std::count_if(
          runs.begin(), runs.end(), [tool](std::string const & run) { return run.starts_with(tool); }));
   }

   rapidjson::Value const & disks() const { return state["connectedDevices"]["disk"]; }
   bool has(char const * name) const { return disks().HasMember(name); }

   Support::TempDir folder;
   std::string socket = folder.string() + "/run/status.sock";
   std::string kernelSocket = folder.string() + "/kernel.sock";
   StorageDevices::Simulation::SimulatedUnit unit;
   std::unique_ptr<Demo::AgentProcess> agent;
   std::string log;
   rapidjson::Document state;
};
