// What the running program makes of disks that are missing, mounted wrongly, hot, worn or pulled, or whose
// errors the kernel reports. And how it logs them.

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

#include "base/UnixAddress.h"
#include "tests/integration/agent/AgentProgramTest.h"
#include "tests/support/MountNamespace.h"

namespace {

using StorageDevices::Simulation::DriveHealth;
namespace Simulation = StorageDevices::Simulation;
using Json = rapidjson::Value;

class MonitorsTest : public AgentProgramTest {
 protected:
   // A real second is that many; the disks are read once at the start and then every ten of them.
   void timeScaleIs(int scale, std::string const & more = "") {
      config("[clock]\ntime_scale = " + std::to_string(scale) + "\n" + more, "poll_interval = 10\n");
   }

   // The first of the messages of that name, null when there is none.
   Json const * message(std::string_view name) {
      messages.Parse(Command::askAgent(socket, "/api/v1/messages").c_str());
      for (Json const & candidate : messages["messages"].GetArray())
         if (candidate["name"].GetString() == name)
            return &candidate;
      return nullptr;
   }
   std::string text(std::string_view name) {
      Json const * const found = message(name);
      return found ? (*found)["text"].GetString() : "";
   }
   bool isTold(std::string_view name) { return message(name) != nullptr; }

   bool kernelSays(std::string const & line) const {
      int const fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
      Base::UnixAddress const address{kernelSocket};
      ssize_t const sent = sendto(fd, line.data(), line.size(), 0, address.get(), address.size());
      close(fd);
      return sent == static_cast<ssize_t>(line.size());
   }
   void heat(int celsius) {
      DriveHealth health;
      health.temperature = celsius;
      unit.healthIs(Simulation::sataDisk("sda", 1, "UDEV-SN-A", "Test Disk", 500118192), health);
   }

   rapidjson::Document messages;
};

TEST_F(MonitorsTest, LogsAnExpectedMountWithoutADisk) {
   startSettled();
   EXPECT_TRUE(waitInRealTime([&] { return isTold("STORAGEDEVICE_DETECTION_ERROR"); })) << log;
   EXPECT_EQ(text("STORAGEDEVICE_DETECTION_ERROR"), "Failed to detect storage device /mnt/flash on bootup.");
   EXPECT_EQ(text("STORAGEDEVICE_PARTITION_NOT_MOUNTED"),
             "Storage device partition /dev/sda not mounted as /mnt/drive");
   EXPECT_EQ(folder.content("mount-source/drive"), "");
   EXPECT_TRUE(std::filesystem::exists(folder.path() / "mount-source/usb1"));
}

TEST_F(MonitorsTest, ChecksAUnitThatIsNotIdentifiedInAMinute) {
   addDrive("sdb", 2, "SN-B");
   unit.tools().hangsIs(Simulation::Tool::hdparm, "sdb", true);
   timeScaleIs(30);
   start();
   EXPECT_FALSE(isTold("STORAGEDEVICE_DETECTION_ERROR"));
   EXPECT_TRUE(waitInRealTime([&] { return isTold("STORAGEDEVICE_DETECTION_ERROR"); })) << log;
   EXPECT_FALSE(state["internalDevicesReady"].GetBool());
}

TEST_F(MonitorsTest, CallsNoUnitGoodWhileADiskIsNotIdentified) {
   addDrive("sdb", 2, "SN-B");
   unit.tools().hangsIs(Simulation::Tool::hdparm, "sdb", true);
   timeScaleIs(100);
   keyIs("appliance", "expected_mounts = [\"drive\"]");
   auto const isOf = [&](Json const & of, char const * verdict) {
      return std::string_view{of["verdict"].GetString()} == verdict;
   };
   start();
   ASSERT_TRUE(logs("No monitoring state machine instantiated")) << log;
   ASSERT_TRUE(waitInRealTime([&] { return has("SN-A") && isOf(state["verdicts"]["SN-A"], "ok"); })) << log;
   EXPECT_TRUE(isOf(state["unit"], "unknown"));
   unit.unplug("sdb");
   EXPECT_TRUE(waitInRealTime([&] { return isOf(state["unit"], "ok"); })) << log;
}

TEST_F(MonitorsTest, LogsAFixedDiskThatIsPulled) {
   startSettled();
   unit.unplug("sda");
   ASSERT_TRUE(waitInRealTime([&] { return isTold("STORAGEDEVICE_OFFLINE"); })) << log;
   EXPECT_EQ(text("STORAGEDEVICE_OFFLINE"),
             "A removal event occurred unexpectedly for internal storage device SN-A");
   EXPECT_EQ(state["storageDevicesInfo"]["fsList"]["SN-A"]["disconnectCount"].GetUint(), 1U);
}

TEST_F(MonitorsTest, LogsAnotherMountInTheDisksPlace) {
   if (std::string const lacking = Support::ownMountTable(); !lacking.empty())
      GTEST_SKIP() << lacking;
   Support::MountedFolder const drive{"/dev/sdz1", "/mnt/drive"};
   ASSERT_TRUE(drive);
   startSettled();
   ASSERT_TRUE(waitInRealTime([&] { return isTold("STORAGEDEVICE_UNEXPECTED_PARTITION_MOUNTED"); })) << log;
   EXPECT_EQ(
       text("STORAGEDEVICE_UNEXPECTED_PARTITION_MOUNTED"),
       "Unexpected partition /dev/sdz1 mounted as /mnt/drive. Expected storage device partition /dev/sda "
       "to be mounted instead.");
   Support::MountedFolder const flash{"/dev/sdy1", "/mnt/flash"};
   ASSERT_TRUE(flash);
   EXPECT_TRUE(waitInRealTime([&] { return folder.content("mount-source/flash") == "/dev/sdy1\n"; })) << log;
}

TEST_F(MonitorsTest, AcceptsTheDisksOwnMount) {
   if (std::string const lacking = Support::ownMountTable(); !lacking.empty())
      GTEST_SKIP() << lacking;
   Support::MountedFolder const drive{"/dev/sda1", "/mnt/drive"};
   ASSERT_TRUE(drive);
   startSettled();
   ASSERT_TRUE(waitInRealTime([&] { return isTold("STORAGEDEVICE_DETECTION_ERROR"); })) << log;
   EXPECT_EQ(text("STORAGEDEVICE_UNEXPECTED_PARTITION_MOUNTED") + text("STORAGEDEVICE_PARTITION_NOT_MOUNTED"),
             "");
}

TEST_F(MonitorsTest, TestsAFileSystemWithNewTextsInEachRun) {
   if (!unit.fileSystems().supportDirectIo())
      GTEST_SKIP() << "no folder here takes direct I/O";
   unit.fileSystems().mountIs("drive", "sda1");
   config("[clock]\ntime_scale = 600\n", "poll_interval = 86400\n");
   auto const cookie = unit.fileSystems().root() / "mnt/drive/debug/healthTestCookie";
   auto const written = [&] { return Support::fileContent(cookie); };
   startSettled();
   ASSERT_TRUE(waitInRealTime([&] { return !written().empty(); })) << log;
   std::string const first = written();
   EXPECT_EQ(agent->stop(), "exit code 0");
   std::filesystem::remove(cookie);
   startSettled();
   ASSERT_TRUE(waitInRealTime([&] { return !written().empty(); })) << log;
   EXPECT_NE(written(), first);
}

TEST_F(MonitorsTest, WaitsForAMissingMountAndThenLogsIt) {
   config("[clock]\ntime_scale = 1000\n", "poll_interval = 86400\n");
   startSettled();
   ASSERT_TRUE(waitInRealTime([&] {
      return state["mountPoints"]["/mnt/drive"]["initialMountFailuresRemaining"].GetUint() < 12;
   })) << log;
   EXPECT_FALSE(isTold("STORAGEDEVICE_MONITOR_ERROR"));
   ASSERT_TRUE(waitInRealTime([&] { return isTold("STORAGEDEVICE_MONITOR_ERROR"); })) << log;
   EXPECT_EQ(text("STORAGEDEVICE_MONITOR_ERROR"),
             "A test operation (mountPtCheck) encountered an error on /mnt/drive (SN:SN-A Model:Test Disk "
             "Firmware:F1): not mounted");
   ASSERT_TRUE(waitInRealTime([] { return true; }));
   auto const & mountPoint = state["mountPoints"]["/mnt/drive"];
   EXPECT_EQ(mountPoint["initialMountFailuresRemaining"].GetUint(), 0U);
   EXPECT_EQ(mountPoint.MemberCount(), 1U);
}

TEST_F(MonitorsTest, LogsAnErrorThatTheKernelReportsWithItsRemedy) {
   startSettled();
   ASSERT_TRUE(kernelSays("kernel: [12.5] blk_update_request: I/O error, dev sda, sector 2048"));
   ASSERT_TRUE(waitInRealTime([&] { return isTold("STORAGEDEVICE_IO_ERROR"); })) << log;
   Json const & logged = *message("STORAGEDEVICE_IO_ERROR");
   EXPECT_STREQ(logged["text"].GetString(),
                "/dev/sda (SN:SN-A Model:Test Disk Firmware:F1) has read or write errors and is unstable.");
   EXPECT_STREQ(
       logged["explanation"].GetString(),
       "Storage device is reporting problems. This could mean faulty hardware or device reaching end "
       "of life.");
   EXPECT_GT(logged["recommendedAction"].GetStringLength(), 20U);
   ASSERT_TRUE(waitInRealTime([] { return true; }));
   auto const & record = state["storageDevicesInfo"]["fsList"]["SN-A"];
   EXPECT_STREQ(record["kernelDevName"].GetString(), "sda");
   EXPECT_NEAR(record["syslogTimestamp"].GetDouble(), logged["time"].GetDouble(), 1);
   EXPECT_NE(runProgram("status --socket " + socket).text.find("has read or write errors"),
             std::string::npos);
}

TEST_F(MonitorsTest, LogsErrorsOfAStickAsOfARemovableDisk) {
   unit.add(Simulation::usbDisk("sdb", "1-1.2", "STICK", "Stick", 60000000));
   startSettled();
   ASSERT_TRUE(waitInRealTime([&] { return has("STICK"); })) << log;
   ASSERT_TRUE(kernelSays("kernel: [12.5] blk_update_request: I/O error, dev sdb, sector 2048"));
   ASSERT_TRUE(waitInRealTime([&] { return isTold("STORAGEDEVICE_IO_ERROR_EXTERNAL_USB"); })) << log;
   unit.unplug("sdb");
   EXPECT_TRUE(waitInRealTime([&] { return !state["storageDevicesInfo"]["fsList"].HasMember("STICK"); }))
       << log;
}

TEST_F(MonitorsTest, RunsTheRestWithoutAPlaceForTheKernelsSocket) {
   kernelSocket = folder.string() + "/nowhere/kernel.sock";
   config("");
   startSettled();
   EXPECT_NE(log.find(" error storagedevices: " + kernelSocket + ": the socket for kernel messages cannot"),
             std::string::npos)
       << log;
   EXPECT_NE(log.find("make its directory or set kernel_messages.socket elsewhere"), std::string::npos);
   EXPECT_TRUE(isTold("STORAGEDEVICE_DETECTION_ERROR"));
   EXPECT_EQ(agent->stop(), "exit code 0");
}

TEST_F(MonitorsTest, UsesASocketOfItsOwnBesideAnotherAgent) {
   startSettled();
   auto const firstSocket = std::exchange(socket, folder.string() + "/second.sock");
   auto const first = std::move(agent);
   config("");
   startSettled();
   EXPECT_NE(log.find(" error storagedevices: " + kernelSocket +
                      ": another program uses it; stop that first or set kernel_messages.socket elsewhere "
                      "(storage errors that the kernel reports go unnoticed)"),
             std::string::npos)
       << log;
   socket = firstSocket;
   ASSERT_TRUE(kernelSays("kernel: [12.5] blk_update_request: I/O error, dev sda, sector 2048"));
   EXPECT_TRUE(waitInRealTime([&] { return isTold("STORAGEDEVICE_IO_ERROR"); })) << log;
}

TEST_F(MonitorsTest, KeepsAFileInThePlaceOfTheKernelsSocket) {
   kernelSocket = folder.write("precious", "precious").string();
   config("");
   startSettled();
   EXPECT_NE(log.find(kernelSocket + ": exists and is not a socket"), std::string::npos) << log;
   EXPECT_EQ(agent->stop(), "exit code 0");
   EXPECT_EQ(folder.content("precious"), "precious");
}

TEST_F(MonitorsTest, ShowsADrivesTemperatureAtItsSensor) {
   timeScaleIs(100,
               "[sensors.Bay1]\noverheat = 45.0\ncritical = 55.0\n[appliance.sensors]\nSN-A = \"Bay1\"\n");
   start();
   ASSERT_TRUE(waitInRealTime([&] { return state["temperature"]["Bay1"].HasMember("temperature"); })) << log;
   EXPECT_STREQ(state["temperature"]["Bay1"]["drive"].GetString(), "SN-A");
   EXPECT_EQ(state["temperature"]["Bay1"]["temperature"].GetDouble(), 34);
   EXPECT_STREQ(state["temperature"]["Bay1"]["alarm"].GetString(), "none");
   heat(48);
   ASSERT_TRUE(waitInRealTime([&] {
      return state["temperature"]["Bay1"]["alarm"].GetString() == std::string_view{"overheat"};
   })) << log;
   EXPECT_EQ(state["temperature"]["Bay1"]["temperature"].GetDouble(), 48);
   Output const status = runProgram("status --socket " + socket);
   EXPECT_NE(status.text.find("warning"), std::string::npos) << status.text;
   EXPECT_NE(status.text.find("high temperature: 48 °C"), std::string::npos) << status.text;
   unit.unplug("sda");
   ASSERT_TRUE(waitInRealTime([&] { return !state["temperature"]["Bay1"].HasMember("temperature"); })) << log;
   EXPECT_STREQ(state["temperature"]["Bay1"]["alarm"].GetString(), "none");
}

TEST_F(MonitorsTest, LogsALifeThatFallsFast) {
   auto const drive = addNvme();
   timeScaleIs(100);
   start();
   auto const wear = [&](unsigned percentUsed) {
      DriveHealth health;
      health.percentUsed = percentUsed;
      unit.healthIs(drive, health);
   };
   auto const lifeIs = [&](std::int64_t value) {
      return waitInRealTime([&] {
         Json const & of = state["deviceLifetimeChange"];
         return of.HasMember("SN-N") && of["SN-N"]["lastValue"].GetInt64() == value;
      });
   };
   ASSERT_TRUE(lifeIs(93)) << log;
   EXPECT_FALSE(state["deviceLifetimeChange"]["SN-N"]["firstDropDetected"].GetBool());
   wear(8);
   ASSERT_TRUE(lifeIs(92)) << log;
   EXPECT_TRUE(state["deviceLifetimeChange"]["SN-N"]["firstDropDetected"].GetBool());
   EXPECT_FALSE(isTold("STORAGEDEVICE_LIFETIME_WARNING") || isTold("STORAGEDEVICE_LIFETIME_INFO"));
   wear(10);
   ASSERT_TRUE(lifeIs(90)) << log;
   EXPECT_EQ(state["deviceLifetimeChange"]["SN-N"]["numPastLogs"].GetUint(), 1U);
   std::string const logged = text("STORAGEDEVICE_LIFETIME_WARNING") + text("STORAGEDEVICE_LIFETIME_INFO");
   EXPECT_TRUE(logged.starts_with("Lifetime of /mnt/drive2 (SN:SN-N Model:Test Drive Firmware:F2) has "))
       << logged;
}

TEST_F(MonitorsTest, ShowsMessagesNewestLastWithTheirRemedy) {
   startSettled();
   ASSERT_TRUE(waitInRealTime([&] { return isTold("STORAGEDEVICE_PARTITION_NOT_MOUNTED"); })) << log;
   Output const shown = runProgram("messages --socket " + socket);
   EXPECT_EQ(shown.exitCode, 0);
   std::size_t const first = shown.text.find(
       "Z error STORAGEDEVICE_DETECTION_ERROR: Failed to detect storage device /mnt/flash on bootup.\n"
       "   Meaning: Failed to detect a storage device during system bootup.");
   ASSERT_NE(first, std::string::npos) << shown.text;
   EXPECT_NE(shown.text.find("\n   Action:  ", first), std::string::npos) << shown.text;
   EXPECT_LT(first, shown.text.find("STORAGEDEVICE_PARTITION_NOT_MOUNTED: "));
   Output const json = runProgram("messages --json --socket " + socket);
   rapidjson::Document document;
   document.Parse(json.text.c_str());
   ASSERT_FALSE(document.HasParseError()) << json.text;
   EXPECT_EQ(document, messages);
}

TEST_F(MonitorsTest, FollowsMessagesAndEndsWithTheAgent) {
   startSettled();
   ASSERT_TRUE(waitInRealTime([&] { return isTold("STORAGEDEVICE_PARTITION_NOT_MOUNTED"); })) << log;
   FILE * const follower = popen(
       (std::string{AGENT_PROGRAM} + " messages --follow --json --socket " + socket + " 2>&1").c_str(), "r");
   std::array<char, 4096> line{};
   auto const next = [&] {
      return std::fgets(line.data(), line.size(), follower) ? line.data() : std::string{};
   };
   EXPECT_NE(next().find(R"("sequence":1,)"), std::string::npos) << line.data();
   EXPECT_NE(next().find(R"("sequence":2,)"), std::string::npos) << line.data();
   unit.unplug("sda");
   EXPECT_NE(next().find("STORAGEDEVICE_OFFLINE"), std::string::npos) << line.data();
   signalAgent(SIGTERM);
   EXPECT_TRUE(next().starts_with(socket)) << line.data();
   EXPECT_EQ(next(), "");
   int const status = pclose(follower);
   EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, 1);
}

}  // namespace
