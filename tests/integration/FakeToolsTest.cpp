// Tools and processes of a simulated unit.
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sys/wait.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/integration/SimulatedUnitTest.h"

using namespace StorageDevices::Simulation;
using namespace UnitTest;

namespace {

struct UnitOutcome {
   int exitCode = -1;
   std::string output;
};

UnitOutcome run(std::string const & command) {
   UnitOutcome outcome;
   auto * pipe = popen((command + " 2>/dev/null").c_str(), "r");
   std::array<char, 4096> buffer{};
   for (std::size_t got = 0; (got = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
      outcome.output.append(buffer.data(), got);
   auto const status = pclose(pipe);
   outcome.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
   return outcome;
}

}  // namespace

TEST_F(SimulatedUnitTest, IsVisibleToAProcessWithItsEnvironment) {
   unit_.add(nvmeDrive("nvme0n1", "MR7700", "Marlin", 1000));
   std::string command = "env -i PATH=/usr/bin:/bin";
   for (auto const & [name, value] : unit_.environment())
      command.append(" '").append(name).append("=").append(value).append("'");
   EXPECT_EQ(run(command + " ls /sys/block").output, "nvme0n1\n");
   EXPECT_EQ(run(command + " cat /sys/block/nvme0n1/size").output, "1000\n");
   EXPECT_EQ(run(command + " cat /sys/block/nvme0n1/device/transport").output, "pcie\n");
}

class FakeToolsTest : public SimulatedUnitTest {
 protected:
   UnitOutcome tool(std::string const & commandLine) {
      return run(unit_.toolsPath().string() + "/" + commandLine);
   }
   FakeTools & tools() { return unit_.tools(); }
};

TEST_F(FakeToolsTest, PrintsTheGivenOutputForTheDevice) {
   std::string const rubbish("\x00\xff{]\n", 5);
   tools().outputIs(Tool::hdparm, "sda", "the report\n");
   tools().outputIs(Tool::nvmeList, "nvme0n1", rubbish);
   auto const report = tool("hdparm -I /dev/sda");
   EXPECT_EQ(report.output, "the report\n");
   EXPECT_EQ(report.exitCode, 0);
   EXPECT_EQ(tool("nvme list -o json /dev/nvme0n1").output, rubbish);
   EXPECT_EQ(tools().runs(),
             (std::vector<std::string>{"hdparm -I /dev/sda", "nvme list -o json /dev/nvme0n1"}));
}

TEST_F(FakeToolsTest, FailsForAnUnknownDeviceAndForOtherArguments) {
   auto const unknown = tool("hdparm -I /dev/sdx");
   EXPECT_EQ(unknown.exitCode, 2);
   EXPECT_EQ(unknown.output, "");
   EXPECT_EQ(tool("hdparm -i /dev/sda").exitCode, 22);
   EXPECT_EQ(tool("nvme list").exitCode, 22);
   EXPECT_EQ(tool("nvme list -o json /dev/nvme9n1").exitCode, 2);
}

TEST_F(FakeToolsTest, FailsHangsAndIsSlowOnDemand) {
   tools().outputIs(Tool::hdparm, "sda", "the report\n");
   tools().exitCodeIs(Tool::hdparm, "sda", 5);
   auto const failed = tool("hdparm -I /dev/sda");
   EXPECT_EQ(failed.exitCode, 5);
   EXPECT_EQ(failed.output, "the report\n");
   tools().hangsIs(Tool::hdparm, "sda", true);
   auto const hung = run("timeout 0.3 " + unit_.toolsPath().string() + "/hdparm -I /dev/sda");
   EXPECT_EQ(hung.exitCode, 124);
   EXPECT_EQ(hung.output, "");
   tools().deviceDel("sda");
   tools().outputIs(Tool::hdparm, "sda", "the report\n");
   tools().delayIs(Tool::hdparm, "sda", 0.2);
   auto const start = std::chrono::steady_clock::now();
   auto const slow = tool("hdparm -I /dev/sda");
   EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
   EXPECT_EQ(slow.output, "the report\n");
   EXPECT_EQ(slow.exitCode, 0);
   EXPECT_THROW(tools().exitCodeIs(Tool::hdparm, "sda", 256), std::invalid_argument);
   EXPECT_THROW(tools().outputIs(Tool::hdparm, "../sda", ""), std::invalid_argument);
}

TEST(ToolReportsTest, WritesIdentityAndSizeIntoAReportOfHdparm) {
   auto const report = hdparmReport({"sda", "Kestrel S2", "KS0001", "KF1.2", 468862128});
   EXPECT_NE(report.find("\tModel Number:       Kestrel S2" + std::string(30, ' ') +
                         "\n\tSerial Number:      KS0001" + std::string(14, ' ') +
                         "\n\tFirmware Revision:  KF1.2   \n"),
             std::string::npos);
   EXPECT_NE(report.find(" 240057 MBytes (240 GB)\n"), std::string::npos);
   EXPECT_TRUE(report.starts_with("\n/dev/sda:\n\nATA device"));
}

TEST(ToolReportsTest, ListsEveryDriveInADocumentOfNvme) {
   auto const text = nvmeListDocument({{"nvme1n1", "Other \"N\"", "MR\t1", "1", 1000},
                                       {"nvme0n1", "Marlin", "MR7700", "4.1", 480103981056}});
   rapidjson::Document document;
   document.Parse(text.data(), text.size());
   ASSERT_FALSE(document.HasParseError()) << text;
   auto const & drives = document["Devices"];
   ASSERT_EQ(drives.Size(), 2U);
   EXPECT_STREQ(drives[0]["ModelNumber"].GetString(), "Other \"N\"");
   EXPECT_STREQ(drives[0]["SerialNumber"].GetString(), "MR\t1");
   EXPECT_STREQ(drives[1]["DevicePath"].GetString(), "/dev/nvme0n1");
   EXPECT_STREQ(drives[1]["Firmware"].GetString(), "4.1");
   EXPECT_EQ(drives[1]["PhysicalSize"].GetUint64(), 480103981056U);
   document.Parse(nvmeListDocument({}).c_str());
   ASSERT_FALSE(document.HasParseError());
   EXPECT_TRUE(document["Devices"].Empty());
}
