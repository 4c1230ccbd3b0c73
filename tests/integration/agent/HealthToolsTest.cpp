// What becomes of the disks' health with bad tools, slow ones and none.
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sys/resource.h>

#include <csignal>
#include <string>

#include "tests/integration/agent/HealthTest.h"

namespace {

namespace Simulation = StorageDevices::Simulation;

TEST_F(HealthTest, ChangesNothingAfterABadRunAndReportsIt) {
   start();
   ASSERT_TRUE(waitInRealTime([&] { return isGood("SN-A", "smartctl"); })) << log;
   std::string const good = textOf(of("smartData", "SN-A"));
   unit.tools().outputIs(Tool::smartctl, "sda", "{\"smart_status\": {\"passed\": fal");
   ASSERT_TRUE(waitInRealTime([&] { return reason("SN-A", "smartctl") == "unreadable output"; })) << log;
   EXPECT_EQ(state["tools"]["failed"].GetUint(), 0U);
   double const lastGood = (*reading("SN-A", "smartctl"))["lastGood"].GetDouble();
   double const failingSince = (*reading("SN-A", "smartctl"))["failingSince"].GetDouble();
   EXPECT_GT(failingSince, lastGood);

   unit.tools().outputDel(Tool::smartctl, "sda");
   ASSERT_TRUE(waitInRealTime([&] { return state["tools"]["failed"].GetUint() > 0; })) << log;
   EXPECT_EQ(reason("SN-A", "smartctl"),
             "the device could not be opened or identified, or is in a low-power mode");
   EXPECT_EQ((*reading("SN-A", "smartctl"))["failingSince"].GetDouble(), failingSince);
   EXPECT_EQ((*reading("SN-A", "smartctl"))["lastGood"].GetDouble(), lastGood);
   EXPECT_EQ(textOf(of("smartData", "SN-A")), good);
   auto const & run = *lastRun("smartctl", "/dev/sda");
   EXPECT_TRUE(isJson(run["argv"], R"(["smartctl", "--json=c", "--offlineauto=on", "-HA", "/dev/sda"])"));
   EXPECT_EQ(run["exitCode"].GetInt(), 2);
   EXPECT_TRUE(run["failed"].GetBool());

   unit.healthIs(Simulation::sataDisk("sda", 1, "UDEV-SN-A", "Test Disk", 500118192), {});
   EXPECT_TRUE(waitInRealTime([&] { return isGood("SN-A", "smartctl"); })) << log;
}

#ifndef STORAGEDEVICES_SANITIZED  // sanitizers need more address space than any of these limits

TEST_F(HealthTest, TreatsAReportWithoutMemoryForItAsAFailedReading) {
   start();
   ASSERT_TRUE(waitInRealTime([&] { return isGood("SN-A", "smartctl"); })) << log;
   std::string const good = textOf(of("smartData", "SN-A"));
   std::string hostile = "[0";
   while (hostile.size() < 3993600)  // as much as a tool may print
      hostile += ",0";
   hostile += "]";
   pid_t const pid = agentPid();
   rlimit before{};
   ASSERT_EQ(prlimit(pid, RLIMIT_AS, nullptr, &before), 0);
   for (rlim_t const megabytes : {40, 50, 60, 70, 80, 90, 100}) {
      rlimit const scarce{megabytes << 20U, before.rlim_max};
      ASSERT_EQ(prlimit(pid, RLIMIT_AS, &scarce, nullptr), 0);
      unit.tools().outputIs(Tool::smartctl, "sda", hostile);
      std::size_t const runs = runsOf("smartctl");
      EXPECT_TRUE(waitInRealTime([&] { return runsOf("smartctl") > runs + 2; })) << megabytes << log;
      ASSERT_TRUE(agent->running()) << megabytes << agent->stop() << log;
      ASSERT_EQ(prlimit(pid, RLIMIT_AS, &before, nullptr), 0);
      EXPECT_TRUE(waitInRealTime([&] { return !reason("SN-A", "smartctl").empty(); })) << megabytes << log;
      EXPECT_EQ(textOf(of("smartData", "SN-A")), good) << megabytes;
      unit.healthIs(Simulation::sataDisk("sda", 1, "UDEV-SN-A", "Test Disk", 500118192), {});
      ASSERT_TRUE(waitInRealTime([&] { return isGood("SN-A", "smartctl"); })) << megabytes << log;
   }
}

TEST_F(HealthTest, ReturnsTheMemoryOfLargeReportsToTheSystem) {
   start();
   ASSERT_TRUE(waitInRealTime([&] { return isGood("SN-A", "smartctl"); })) << log;
   long const alone = residentKilobytes();
   unit.tools().outputIs(Tool::smartctl, "sda",
                         R"({"smart_status":{"passed":true}})" + std::string(3993600, ' '));
   std::size_t const runs = runsOf("smartctl");
   ASSERT_TRUE(waitInRealTime([&] { return runsOf("smartctl") > runs + 5; })) << log;
   EXPECT_TRUE(isGood("SN-A", "smartctl")) << log;
   unit.healthIs(Simulation::sataDisk("sda", 1, "UDEV-SN-A", "Test Disk", 500118192), {});
   EXPECT_TRUE(waitInRealTime([&] { return residentKilobytes() < alone + 1024; }))
       << residentKilobytes() - alone << " KiB more";
}

#endif

TEST_F(HealthTest, AcceptsAWholeReportWithAnAcceptedExitBit) {
   unit.tools().exitCodeIs(Tool::smartctl, "sda", 4);
   start();
   ASSERT_TRUE(waitInRealTime([&] { return isGood("SN-A", "smartctl"); })) << log;
   EXPECT_TRUE(of("smartData", "SN-A")["healthStatusOk"].GetBool());
   auto const & run = *lastRun("smartctl", "/dev/sda");
   EXPECT_STREQ(run["meaning"].GetString(), "a command to the disk failed or a checksum was wrong");
   EXPECT_FALSE(run["failed"].GetBool());
   EXPECT_EQ(state["tools"]["failed"].GetUint(), 0U);
}

TEST_F(HealthTest, RefusesAWholeReportWithAnExitBitThatIsNotAccepted) {
   unit.tools().exitCodeIs(Tool::smartctl, "sda", 4);
   toolsKeyIs("accept_exit_bits = { smartctl = [3] }");
   start();
   ASSERT_TRUE(waitInRealTime([&] { return !reason("SN-A", "smartctl").empty(); })) << log;
   EXPECT_TRUE(isJson(of("smartData", "SN-A"), R"({"attrs": {}, "unknownAttrs": []})"));
   EXPECT_EQ(reason("SN-A", "smartctl"), "a command to the disk failed or a checksum was wrong");
   EXPECT_FALSE(reading("SN-A", "smartctl")->HasMember("lastGood"));
   EXPECT_TRUE((*lastRun("smartctl", "/dev/sda"))["failed"].GetBool());
}

TEST_F(HealthTest, EndsAToolThatHangsAndDelaysNobodyElse) {
   addDrive("sdb", 2, "SN-B");
   unit.tools().hangsIs(Tool::smartctl, "sda", true);
   toolsKeyIs("timeout = 2");
   start();
   ASSERT_TRUE(waitInRealTime([&] { return isGood("SN-B", "smartctl"); })) << log;
   EXPECT_EQ(state["tools"]["timedOut"].GetUint(), 0U);
   double const first = (*reading("SN-B", "smartctl"))["lastGood"].GetDouble();
   ASSERT_TRUE(waitInRealTime([&] { return state["tools"]["timedOut"].GetUint() > 0; })) << log;
   EXPECT_EQ(reason("SN-A", "smartctl"), "exceeded its time limit");
   EXPECT_FALSE(reading("SN-A", "smartctl")->HasMember("lastGood"));
   EXPECT_GE((*lastRun("smartctl", "/dev/sda"))["seconds"].GetDouble(), 2.0);
   // Two real seconds are twenty polls, of which a busy machine may lose some.
   EXPECT_GT((*reading("SN-B", "smartctl"))["lastGood"].GetDouble(), first + 5);
   EXPECT_GT(runsOf("smartctl --json=c --offlineauto=on -HA /dev/sdb"), 5U);
   EXPECT_LE(runsOf("smartctl --json=c --offlineauto=on -HA /dev/sda"), 2U);
   unit.tools().hangsIs(Tool::smartctl, "sda", false);
   EXPECT_TRUE(waitInRealTime([&] { return isGood("SN-A", "smartctl"); })) << log;
}

TEST_F(HealthTest, StopsCleanlyWhileToolsRun) {
   addNvme();
   unit.tools().hangsIs(Tool::smartctl, "sda", true);
   unit.tools().hangsIs(Tool::smartctl, "nvme0n1", true);
   unit.tools().hangsIs(Tool::nvmeSmartLog, "nvme0n1", true);
   start();
   ASSERT_TRUE(waitInRealTime([&] { return runsOf("smartctl") == 2 && runsOf("nvme smart-log") == 1; }))
       << log;
   EXPECT_GE(watchingProcesses(), 4U);
   EXPECT_EQ(agent->stop(), "exit code 0");
   EXPECT_EQ(watchingProcesses(), 0U);
}

}  // namespace
