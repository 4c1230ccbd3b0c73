// The configuration is read again and again while kernel lines and events of disks come: nothing gets lost.

#include <gtest/gtest.h>
#include <sys/types.h>

#include <algorithm>
#include <csignal>
#include <iostream>
#include <iterator>
#include <numeric>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/integration/agent/AgentProgramTest.h"
#include "tests/integration/agent/Burst.h"
#include "tests/integration/agent/Follower.h"

namespace {

struct Drive {
   char const * name;
   unsigned port;
   char const * serial;
   char const * mount;
};
constexpr Drive drives[] = {
    {"sda", 1, "SN-A", "drive"}, {"sdb", 2, "SN-B", "flash"}, {"sdc", 3, "SN-C", "drive2"}};
constexpr long pulls = 5;
constexpr unsigned fewestReloads = 20;

// Has the agent read its configuration, from a thread of its own, until this ends.
class Reloads {
 public:
   explicit Reloads(pid_t agent)
       : thread_{[agent](std::stop_token const & ended) {
            while (!ended.stop_requested()) {
               kill(agent, SIGHUP);
               std::this_thread::yield();
            }
         }} {}

 private:
   std::jthread thread_;
};

class ReloadUnderLoadTest : public AgentProgramTest {
 protected:
   ReloadUnderLoadTest() {
      std::vector<std::pair<std::string, std::string>> ports;
      for (Drive const & drive : drives)
         ports.emplace_back(".*/ata" + std::to_string(drive.port) + "/", drive.mount);
      unit.blockdevIs(ports);
      for (Drive const & drive : {drives[1], drives[2]})  // the first one is there
         addDrive(drive.name, drive.port, drive.serial);
   }

   // Pulls the drive, for the count-th time, and plugs it again when that is told.
   void pull(Drive const & drive, long count) {
      unit.unplug(drive.name);
      std::string const text = std::string{"unexpectedly for internal storage device "} + drive.serial;
      ASSERT_TRUE(waitInRealTime([&] { return told(text) >= count; })) << text;
      ASSERT_EQ(told(text), count);
      unit.plug(StorageDevices::Simulation::sataDisk(
          drive.name, drive.port, std::string{"UDEV-"} + drive.serial, "Test Disk", 500118192));
      ASSERT_TRUE(waitInRealTime([&] { return has(drive.serial); })) << drive.serial;
   }

   unsigned reloads() const { return state["configuration"]["reloads"].GetUint(); }
   std::vector<std::string> texts() const {
      rapidjson::Document answer;
      answer.Parse(Command::askAgent(socket, "/api/v1/messages").c_str());
      std::vector<std::string> texts;
      for (auto const & message : answer["messages"].GetArray())
         texts.emplace_back(message["text"].GetString());
      return texts;
   }
   // How many messages have this in their text.
   long told(std::string const & part) const {
      auto const all = texts();
      return std::ranges::count_if(
          all, [&](std::string const & text) { return text.find(part) != std::string::npos; });
   }
};

TEST_F(ReloadUnderLoadTest, LosesNoMessageAndNoEvent) {
   start();
   ASSERT_TRUE(waitInRealTime([&] { return state["mountPoints"].MemberCount() == std::size(drives); }))
       << log;
   Follower follower{socket};
   Burst burst{kernelSocket, "kernel: [   12.500000] ata9: hard resetting link"};
   burst.start();
   {
      Reloads const reloading{agentPid()};
      for (Drive const & drive : drives) {
         std::string const port = "ata" + std::to_string(drive.port);
         EXPECT_TRUE(burst.say("kernel: [   12.500000] " + port + ": hard resetting link"));
         ASSERT_TRUE(waitInRealTime([&] { return told(std::string{"/dev/"} + drive.name + " (SN:") == 1; }))
             << port;
         for (long count = 1; count <= pulls; ++count)
            ASSERT_NO_FATAL_FAILURE(pull(drive, count));
      }
      EXPECT_TRUE(waitInRealTime([&] { return reloads() >= fewestReloads; })) << reloads();
   }
   burst.end();
   std::vector<int> expected(texts().size());
   std::iota(expected.begin(), expected.end(), 1);
   EXPECT_TRUE(waitInRealTime([&] { return follower.ids().size() >= expected.size(); })) << follower.text();
   EXPECT_EQ(follower.ids(), expected);
   std::cout << reloads() << " reloads, " << burst.lines() << " lines, " << expected.size() << " messages\n";
}

}  // namespace
