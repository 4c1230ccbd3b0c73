// The program itself on a simulated unit: what it serves, how it follows the unit, how it ends.

#include <gtest/gtest.h>
#include <poll.h>
#include <rapidjson/document.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#include "base/UniqueFd.h"
#include "base/UnixAddress.h"
#include "tests/integration/agent/AgentProgramTest.h"

void AgentProgramTest::readLog() {
   for (std::string const & line : agent->lines())
      log += line + "\n";
}

bool AgentProgramTest::readState() {
   try {
      rapidjson::Document answer;
      answer.Parse(Command::askAgent(socket, "/api/v1/state").c_str());
      state.Swap(answer);
      return true;
   } catch (Command::StatusError const &) {
      return false;
   }
}

bool AgentProgramTest::waitInRealTime(std::function<bool()> const & condition, std::chrono::seconds limit) {
   constexpr int pauseMs = 10;
   bool met = false;
   bool hasEnded = false;
   auto const step = [&] {
      readLog();
      bool const isRead = readState();
      met = isRead && condition();
      hasEnded = !isRead && !agent->running();
      pollfd output{agent->outputDescriptor(), POLLIN, 0};
      poll(&output, 1, met || hasEnded ? 0 : pauseMs);
   };
   Support::waitInRealTime([&] { return met || hasEnded; }, step, limit);
   return met;
}

bool AgentProgramTest::logs(std::string const & text, std::chrono::seconds limit) {
   return waitInRealTime([&] { return log.find(text) != std::string::npos; }, limit);
}

bool AgentProgramTest::endsBy(int signal) const {
   pid_t const pid = agentPid();
   pollfd ended{static_cast<int>(syscall(SYS_pidfd_open, pid, 0)), POLLIN, 0};
   constexpr int patienceMs = 10000;
   bool const hasEnded = ended.fd >= 0 && kill(pid, signal) == 0 && poll(&ended, 1, patienceMs) == 1;
   close(ended.fd);
   return hasEnded;
}

long AgentProgramTest::residentKilobytes() const {
   std::ifstream file{"/proc/" + std::to_string(agentPid()) + "/status"};
   for (std::string line; std::getline(file, line);)
      if (line.starts_with("VmRSS:"))
         return std::stol(line.substr(6));
   return 0;
}

pid_t AgentProgramTest::agentPid() const {
   int const fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
   Base::UnixAddress const address{socket};
   ucred peer{};
   socklen_t size = sizeof peer;
   bool const found = connect(fd, address.get(), address.size()) == 0 &&
                      getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0;
   close(fd);
   return found ? peer.pid : -1;
}

namespace {

using StorageDevices::Simulation::Tool;
namespace Simulation = StorageDevices::Simulation;

TEST_F(AgentProgramTest, ShowsTheDisksThatItFound) {
   start();
   ASSERT_TRUE(waitInRealTime([&] { return has("SN-A") && state["internalDevicesReady"].GetBool(); })) << log;
   auto const & disk = disks()["SN-A"];
   EXPECT_STREQ(disk["blockDevice"].GetString(), "/dev/sda");
   EXPECT_STREQ(disk["mountPoint"].GetString(), "/mnt/drive");
   EXPECT_STREQ(disk["deviceIntfAndAddress"].GetString(), "ata1");
   EXPECT_EQ(disk["sizeGb"].GetUint(), 256U);
   EXPECT_STREQ(state["connectedDevices"]["udevSerialToSerialMap"]["UDEV-SN-A"].GetString(), "SN-A");
}

TEST_F(AgentProgramTest, ReportsItsVersionAndItsSocketAtTheStart) {
   start();
   std::string version = runProgram("--version").text;  // "storagedevices 1.2.3\n"
   version = version.substr(version.find(' ') + 1, version.find('\n') - version.find(' ') - 1);
   std::string const line = "storagedevices: version " + version + " started; status on " + socket + "\n";
   EXPECT_TRUE(logs(line)) << log << "without " << line;
}

TEST_F(AgentProgramTest, FollowsPlugAndPull) {
   start();
   unit.plug(Simulation::usbDisk("sdb", "1-1.2", "STICK", "Stick", 60000000));
   EXPECT_TRUE(waitInRealTime([&] { return has("STICK"); })) << log;
   EXPECT_STREQ(disks()["STICK"]["deviceIntfAndAddress"].GetString(), "usb 1-1.2");
   unit.unplug("sdb");
   EXPECT_TRUE(waitInRealTime([&] { return !has("STICK"); })) << log;
   unit.unplug("sda");
   EXPECT_TRUE(waitInRealTime([&] { return disks().ObjectEmpty(); })) << log;
}

TEST_F(AgentProgramTest, LeavesNothingOfADiskPulledWhileItsToolHangs) {
   addDrive("sdb", 2, "SN-B");
   unit.tools().hangsIs(Tool::hdparm, "sdb", true);
   start();
   ASSERT_TRUE(waitInRealTime([&] { return has("SN-A") && runsOf("hdparm") == 2; })) << log;
   EXPECT_FALSE(state["internalDevicesReady"].GetBool());
   unit.unplug("sdb");
   ASSERT_TRUE(waitInRealTime([&] { return state["internalDevicesReady"].GetBool(); })) << log;
   EXPECT_EQ(disks().MemberCount(), 1U);
}

TEST_F(AgentProgramTest, ReadsManyDisksAtOnceWhateverTheSoftLimitOfDescriptors) {
   constexpr unsigned count = 20;
   for (unsigned port = 3; port < 3 + count; ++port) {
      std::string const letter(1, static_cast<char>('a' + port));
      addDrive(("sd" + letter).c_str(), port, ("SN-" + letter).c_str());
      unit.tools().delayIs(Simulation::Tool::hdparm, "sd" + letter, 0.5);
   }
   unit.blockdevIs({{".*/ata[0-9]*/", "drive"}});
   agent = std::make_unique<Demo::AgentProcess>(
       "/usr/bin/prlimit",
       std::vector<std::string>{"--nofile=40:", AGENT_PROGRAM, "agent", "--config",
                                folder.string() + "/agent.toml"},
       unit.environment());
   EXPECT_TRUE(waitInRealTime([this] { return state["internalDevicesReady"].GetBool(); }));
   for (unsigned port = 3; port < 3 + count; ++port)
      EXPECT_TRUE(has(("SN-" + std::string(1, static_cast<char>('a' + port))).c_str())) << port << log;
}

TEST_F(AgentProgramTest, EndsAToolThatHangsAndShowsTheDiskUnidentified) {
   addDrive("sdb", 2, "SN-B");
   unit.tools().hangsIs(Tool::hdparm, "sdb", true);
   toolsKeyIs("timeout = 1");
   start();
   EXPECT_TRUE(waitInRealTime([&] { return has("UDEV-SN-B"); })) << log;
}

TEST_F(AgentProgramTest, IdentifiesAnNvmeDriveFromALayoutThatTheLibraryDoesNotKnow) {
   addNestedNvmeDrive();
   start();
   ASSERT_TRUE(waitInRealTime([&] { return has("EXN0000000000003"); })) << log;
   EXPECT_STREQ(disks()["EXN0000000000003"]["model"].GetString(), "Example NVMe 960");
   EXPECT_EQ(disks()["EXN0000000000003"]["sizeGb"].GetUint(), 960U);
   EXPECT_FALSE(has("UDEV-NVME"));
}

TEST_F(AgentProgramTest, LeavesSuchADriveUnidentifiedWithoutTheNvmeFilter) {
   addNestedNvmeDrive();
   toolsKeyIs("nvme_compat = false");
   start();
   EXPECT_TRUE(waitInRealTime([&] { return has("UDEV-NVME"); })) << log;
   EXPECT_EQ(log.find("nvme filter"), std::string::npos) << log;
}

TEST_F(AgentProgramTest, ReportsAMissingNvmeFilterAndContinues) {
   std::filesystem::path const daemon = folder.path() / "libexec/storagedevices/agent";
   std::filesystem::create_directories(daemon.parent_path());
   std::filesystem::create_directory(folder.path() / "bin");
   std::filesystem::copy_file(AGENT_DAEMON, daemon);
   std::filesystem::copy_file(AGENT_PROGRAM, folder.path() / "bin/storagedevices");
   std::filesystem::create_directory(folder.path() / "lib");
   std::filesystem::copy_file(MONITORS_LIBRARY, folder.path() / "lib/libStorageDevices.so.0");
   start(folder.path() / "bin/storagedevices", {{"LD_LIBRARY_PATH", folder.string() + "/lib"}});
   EXPECT_TRUE(waitInRealTime([&] { return has("SN-A"); })) << log;
   EXPECT_NE(log.find("the nvme filter is not installed beside the library"), std::string::npos) << log;
}

TEST_F(AgentProgramTest, StopsCleanlyWhileAToolRuns) {
   unit.tools().hangsIs(Tool::hdparm, "sda", true);
   start();
   ASSERT_TRUE(waitInRealTime([&] { return runsOf("hdparm") == 1; })) << log;
   EXPECT_TRUE(std::filesystem::is_socket(kernelSocket));
   EXPECT_EQ(watchingProcesses(), 2U);
   EXPECT_EQ(agent->stop(), "exit code 0");
   EXPECT_FALSE(std::filesystem::exists(socket));
   EXPECT_FALSE(std::filesystem::exists(kernelSocket));
   EXPECT_EQ(watchingProcesses(), 0U);
}

TEST_F(AgentProgramTest, RefusesToStartBesideARunningAgent) {
   start();
   Output const second = runProgram("agent --config " + folder.string() + "/agent.toml");
   EXPECT_EQ(second.exitCode, 1);
   EXPECT_EQ(second.text,
             socket + ": another program uses it; stop that first or set status.socket elsewhere\n");
   EXPECT_TRUE(waitInRealTime([&] { return has("SN-A"); }));
}

TEST_F(AgentProgramTest, ShowsTheTableByStatus) {
   start();
   ASSERT_TRUE(waitInRealTime([&] { return has("SN-A") && state["internalDevicesReady"].GetBool(); })) << log;
   Output const status = runProgram("status --socket " + socket);
   EXPECT_EQ(status.exitCode, 0);
   EXPECT_NE(status.text.find("SN-A"), std::string::npos) << status.text;
   Output const json = runProgram("status --json --socket " + socket);
   rapidjson::Document document;
   document.Parse(json.text.c_str());
   EXPECT_TRUE(document["connectedDevices"]["disk"].HasMember("SN-A"));
}

TEST_F(AgentProgramTest, ReportsTheRemedyByStatusWithoutAnAgent) {
   Output const status = runProgram("status --socket /nowhere/status.sock");
   EXPECT_EQ(status.exitCode, 1);
   EXPECT_NE(status.text.find("/nowhere/status.sock"), std::string::npos) << status.text;
   EXPECT_EQ(status.text.find('\n'), status.text.size() - 1);
}

TEST_F(AgentProgramTest, ReportsAWrongConfigurationInOneLineAndExitsWithTwo) {
   config("[clock]\ntime_scale = 0\n");
   Output const agentOutput = runProgram("agent --config " + folder.string() + "/agent.toml");
   EXPECT_EQ(agentOutput.exitCode, 2);
   EXPECT_NE(agentOutput.text.find("agent.toml:14: clock.time_scale: "), std::string::npos)
       << agentOutput.text;
   EXPECT_EQ(runProgram("check-config --config " + folder.string() + "/agent.toml").exitCode, 2);
   EXPECT_EQ(runProgram("fly").exitCode, 2);
}

TEST_F(AgentProgramTest, ReportsTooFewDescriptorsBeforeAnythingElse) {
   std::filesystem::create_directories(socket);  // nothing can listen there, so that it ends at once
   Output const started = runProgram("agent --config " + folder.string() + "/agent.toml", "ulimit -n 40; ");
   EXPECT_EQ(started.exitCode, 1);
   EXPECT_NE(
       started.text.find(" warning storagedevices: the limit of 40 open files is too low to watch disks: "),
       std::string::npos)
       << started.text;
   EXPECT_EQ(runProgram("agent --config " + folder.string() + "/agent.toml").text.find("descriptors"),
             std::string::npos);
}

TEST_F(AgentProgramTest, ShowsTheClassificationOfEachDeviceByCheckConfig) {
   unit.add(Simulation::sataDisk("sdq", 9, "STRANGE", "Other", 1000000));
   unit.add(Simulation::usbDisk("sdb", "1-1.2", "STICK", "Stick", 60000000));
   Output const checked = runProgram("check-config --config " + folder.string() + "/agent.toml");
   EXPECT_EQ(checked.exitCode, 0);
   for (char const * const line :
        {"agent.toml: valid\n", "blockdev: 4 entries\n",
         "/dev/sda: fixed: /mnt/drive, sata (ata1), 256 GB, identified by hdparm -I\n",
         "/dev/sdb: removable: /mnt/usb1, usb (usb 1-1.2), 31 GB, identified by udev's properties\n",
         "/dev/sdq: skipped: no entry of blockdev matches its path\n",
         "expected mount flash: no disk of this machine is classified as /mnt/flash\n", "/bin/smartctl\n"})
      EXPECT_NE(checked.text.find(line), std::string::npos) << "missing: " << line << "in:\n" << checked.text;
   EXPECT_TRUE(unit.tools().runs().empty());
}

TEST_F(AgentProgramTest, KnowsTheEndOfItsChildrenUnderAParentThatIgnoresIts) {
   Output const checked =
       runProgram("check-config --config " + folder.string() + "/agent.toml", "env --ignore-signal=CHLD ");
   EXPECT_NE(checked.text.find("/dev/sda: fixed: "), std::string::npos) << checked.text;
}

TEST_F(AgentProgramTest, AnswersOverTcpOnlyRequestsThatNameThisMachine) {
   config("http = \"127.0.0.1:29639\"\n");
   start();
   auto const statusFor = [](std::string const & host) {
      return shell("curl -s -o /dev/null -w '%{http_code}' -H 'Host: " + host +
                   "' http://127.0.0.1:29639/healthz")
          .text;
   };
   EXPECT_EQ(statusFor("localhost"), "200");
   EXPECT_EQ(statusFor("127.0.0.1:29639"), "200");
   EXPECT_EQ(statusFor("evil.example"), "421");
}

TEST_F(AgentProgramTest, ReadsItsConfigurationFromAPipe) {
   std::string const command =
       std::string{"exec "} + AGENT_PROGRAM + " agent --config <(cat " + folder.string() + "/agent.toml)";
   agent = std::make_unique<Demo::AgentProcess>("/bin/bash", std::vector<std::string>{"-c", command},
                                                unit.environment());
   EXPECT_TRUE(waitInRealTime([&] { return has("SN-A"); })) << log;
}

// Answers a client, whatever it asks, with a body of that many mebibytes and a byte.
void serveMebibytes(int listener, int mebibytes) {
   Base::UniqueFd const client{accept(listener, nullptr, nullptr)};
   std::array<char, 4096> request{};
   recv(client.get(), request.data(), request.size(), 0);
   auto const sendAll = [&](std::string const & text) {
      send(client.get(), text.data(), text.size(), MSG_NOSIGNAL);
   };
   sendAll("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n ");
   std::string const part(std::size_t{1} << 20U, ' ');
   for (int i = 0; i < mebibytes; ++i)
      sendAll(part);
}

TEST_F(AgentProgramTest, StreamsADocumentLargerThanItsMemory) {
   std::string const path = folder.string() + "/large.sock";
   Base::UnixAddress const address{path};
   Base::UniqueFd const listener{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
   ASSERT_EQ(bind(listener.get(), address.get(), address.size()), 0);
   ASSERT_EQ(listen(listener.get(), 1), 0);
   std::thread server{[&] { serveMebibytes(listener.get(), 65); }};
#ifdef STORAGEDEVICES_SANITIZED  // sanitizers need more address space
   std::string const limit;
#else
   std::string const limit = "/usr/bin/prlimit --as=60000000 ";
#endif
   Output const counted = shell(limit + AGENT_PROGRAM + " status --json --socket " + path + " | wc -c");
   shutdown(listener.get(), SHUT_RDWR);  // wakes a server whose client never came
   server.join();
   EXPECT_EQ(counted.text, std::to_string((65U << 20U) + 2) + "\n");  // with a line feed at the end
}

TEST_F(AgentProgramTest, FailsWhereAnAnswerCannotBeWritten) {
   EXPECT_EQ(runProgram("catalogue > /dev/full").exitCode, 1);
   EXPECT_EQ(runProgram("catalogue > /dev/null").exitCode, 0);
}

TEST_F(AgentProgramTest, ListsTenMessagesByCatalogue) {
   Output const catalogue = runProgram("catalogue --json");
   rapidjson::Document document;
   document.Parse(catalogue.text.c_str());
   ASSERT_EQ(document["messages"].Size(), 10U);
   EXPECT_STREQ(document["messages"][0]["name"].GetString(), "STORAGEDEVICE_LIFETIME_WARNING");
   EXPECT_EQ(document["messages"][9]["recommendedAction"].GetInt(), 2);
}

}  // namespace
