#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>

#include <cerrno>

#include "agent/config/ConfigFile.h"
#include "demo/AgentCommands.h"
#include "demo/AgentConfig.h"
#include "demo/AgentProcess.h"
#include "demo/ApplianceState.h"
#include "demo/Options.h"
#include "demo/Story.h"

using namespace Demo;
using StorageDevices::Simulation::SimulatedUnit;

namespace {

constexpr char document[] = R"({"internalDevicesReady": true, "connectedDevices": {"disk": {
   "A1": {"name": "A1", "mibType": 2, "blockDevice": "/dev/sda", "mountPoint": "/mnt/flash", "model": "Kestrel",
          "firmwareRevision": "1", "removable": false, "busType": 1, "devAddress": "1", "sizeGb": 240}}}})";

std::vector<std::string> const nothing;

// What the program writes until it ends.
std::vector<std::string> everything(AgentProcess & process) {
   std::vector<std::string> lines;
   while (process.outputDescriptor() >= 0) {
      pollfd entry{process.outputDescriptor(), POLLIN, 0};
      poll(&entry, 1, 10000);
      for (auto & line : process.lines())
         lines.push_back(std::move(line));
   }
   return lines;
}

bool exists(std::string const & process) {
   return kill(std::stoi(process), 0) == 0;
}

}  // namespace

TEST(ApplianceStateTest, IsReadFromTheAgentsDocument) {
   auto const state = parseState(document);
   EXPECT_TRUE(state.internalDevicesReady);
   ASSERT_NE(state.disk("A1"), nullptr);
   EXPECT_EQ(*state.disk("A1"), (DiskState{"Kestrel", "1", "/dev/sda", "/mnt/flash", false, 2, 1, 240}));
   EXPECT_EQ(state.disk("A2"), nullptr);
}

TEST(ApplianceStateTest, ReadsAsMuchAsPossibleOfAnOddDocument) {
   EXPECT_TRUE(parseState("{}").disks.empty());
   EXPECT_TRUE(parseState(R"({"connectedDevices": []})").disks.empty());
   auto const odd =
       parseState(R"({"connectedDevices": {"disk": {"A": 3, "B": {"sizeGb": -1, "model": {}}}}})");
   EXPECT_EQ(odd.disks.size(), 2U);
   EXPECT_EQ(*odd.disk("B"), DiskState());
   EXPECT_THROW(parseState("[]"), std::runtime_error);
   EXPECT_THROW(parseState("{\"a\":"), std::runtime_error);
}

TEST(ApplianceStateTest, DescribesDisksThatCameWentAndChanged) {
   auto const before = parseState(document);
   auto now = before;
   EXPECT_EQ(differences(before, now), nothing);
   now.disks["A1"].sizeGb = 480;
   now.disks["A1"].model = "Kes\ntrel";
   now.disks["B2"] = {"Stick", "2", "/dev/sdb", "/mnt/usb1", true, 0, 0, 32};
   EXPECT_EQ(differences(before, now),
             (std::vector<std::string>{"~ A1  model Kestrel -> Kes\\ntrel  GB 240 -> 480",
                                       "+ B2  Stick  firmware 2  /dev/sdb  32 GB  removable  /mnt/usb1"}));
   EXPECT_EQ(differences(before, {}),
             (std::vector<std::string>{"- A1  Kestrel  firmware 1  /dev/sda  240 GB  fixed  /mnt/flash"}));
}

TEST(ApplianceStateTest, DescribesTheAgentsVerdictOnADisk) {
   std::string const disk = R"("connectedDevices": {"disk": {"A1": {"model": "Kestrel"}}})";
   auto const before = parseState("{" + disk + "}");
   EXPECT_EQ(*before.healthOf("A1"), DiskHealth());
   auto const now = parseState("{" + disk + R"(,
      "verdicts": {"A1": {"verdict": "warning", "reasons": [{"code": "life-low"}, {"code": "over\nheat"}]}},
      "figures": {"A1": {"temperature": 58, "powerOnHours": 9120, "lifeLeft": 9}},
      "readings": {"A1": [{"source": "iostat"}, {"source": "smartctl", "reason": "bad\nnews"}]}})");
   EXPECT_EQ(*now.healthOf("A1"),
             (DiskHealth{"warning", {"life-low", "over\nheat"}, 58, 9120, 9, "smartctl: bad\nnews"}));
   EXPECT_TRUE(now.hasReason("A1", "life-low"));
   EXPECT_FALSE(now.hasReason("A1", "removed"));
   EXPECT_FALSE(now.hasReason("A2", "life-low"));
   EXPECT_EQ(differences(before, now),
             std::vector<std::string>{
                 "~ A1  verdict ? -> warning (life-low, over\\nheat)  degrees ? -> 58  hours ? -> 9120  "
                 "life left ? -> 9  reading good -> smartctl: bad\\nnews"});
   EXPECT_EQ(differences(now, now), nothing);
   EXPECT_EQ(before.healthOf("A2"), nullptr);
}

TEST(ApplianceStateTest, DerivesNothingFromTheRecords) {
   auto const state = parseState(R"({"connectedDevices": {"disk": {"A1": {}}},
      "smartData": {"A1": {"healthStatusOk": false}}, "nvmeData": {"A1": {"percentageUsed": {"value": 91}}},
      "temperature": {"T2": {"drive": "A1", "alarm": "overheat"}}})");
   EXPECT_EQ(*state.healthOf("A1"), DiskHealth());
}

TEST(ApplianceStateTest, RecognisesAbsentDisksByTheirVerdict) {
   auto const state =
       parseState(R"({"verdicts": {"A1": {"verdict": "absent", "reasons": [{"code": "removed"}]}}})");
   EXPECT_EQ(state.disk("A1"), nullptr);
   EXPECT_TRUE(state.hasReason("A1", "removed"));
   EXPECT_EQ(differences({}, state), std::vector<std::string>{"~ A1  verdict ? -> absent (removed)"});
}

TEST(ApplianceStateTest, DescribesTheTestsOfFileSystems) {
   auto const with = [](std::string const & test) {
      return parseState(R"({"mountPoints": {"/mnt/a": {"initialMountFailuresRemaining": 12},
         "/mnt/b": {"initialMountFailuresRemaining": 0, "fsHealth": {)" +
                        test + "}}}}");
   };
   auto const before = with(R"("running": true, "state": "readTest")");
   EXPECT_EQ(differences({}, before), (std::vector<std::string>{"~ /mnt/a  file system ? -> unmounted",
                                                                "~ /mnt/b  file system ? -> testing"}));
   auto const now = with(R"("running": true, "state": "idle", "writeTestOk": false)");
   EXPECT_EQ(differences(before, now), std::vector<std::string>{"~ /mnt/b  file system testing -> tested"});
   EXPECT_EQ(differences(now, with(R"("running": false)")),
             std::vector<std::string>{"~ /mnt/b  file system tested -> stopped"});
}

TEST(ApplianceStateTest, KnowsTheMessagesThatWereLogged) {
   auto const state = parseState("{}", R"({"messages": [
      {"sequence": 7, "name": "STORAGEDEVICE_OFFLINE", "text": "removal of A1"}, 5]})");
   ASSERT_EQ(state.messages.size(), 2U);
   EXPECT_EQ(state.messages[0].sequence, 7U);
   EXPECT_TRUE(state.hasLogged("STORAGEDEVICE_OFFLINE", {"A1", "removal"}));
   EXPECT_TRUE(state.hasLogged("STORAGEDEVICE_OFFLINE", {}));
   EXPECT_FALSE(state.hasLogged("STORAGEDEVICE_OFFLINE", {"A1", "A2"}));
   EXPECT_FALSE(state.hasLogged("STORAGEDEVICE_IO_ERROR", {"A1"}));
   EXPECT_TRUE(parseState("{}").messages.empty());
   EXPECT_THROW(parseState("{}", "[]"), std::runtime_error);
}

TEST(ApplianceStateTest, ListsTheNamesOfTheCatalogue) {
   EXPECT_EQ(messageNames(R"({"messages": [{"name": "A"}, {"name": "B", "severity": 3}]})"),
             (std::vector<std::string>{"A", "B"}));
   EXPECT_EQ(messageNames(R"({"messages": 5})"), nothing);
   EXPECT_THROW(messageNames("no catalogue"), std::runtime_error);
}

TEST(AgentCommandsTest, ReadsTheWholeOutputOfACommand) {
   std::chrono::seconds const time{20};
   auto const shell = [&](std::string const & script) {
      return outputOf("/bin/sh", {"-c", script}, {{"GREETING", "hello"}}, time);
   };
   EXPECT_EQ(shell("echo $GREETING; echo error >&2"), "hello\n");
   EXPECT_EQ(shell("head -c 300000 /dev/zero").value_or("").size(), 300000U);
   EXPECT_EQ(shell("echo half; exit 1"), std::nullopt);
   EXPECT_EQ(shell("echo half; kill -9 $$"), std::nullopt);
   EXPECT_THROW(outputOf("/nonexistent/program", {}, {}, time), std::system_error);
}

TEST(AgentCommandsTest, KillsACommandThatTakesTooLong) {
   for (char const * const script : {"echo half; exec sleep 1000", "exec >&-; exec sleep 1000"})
      EXPECT_EQ(outputOf("/bin/sh", {"-c", script}, {}, std::chrono::milliseconds{200}), std::nullopt);
   EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
   EXPECT_EQ(errno, ECHILD);
}

TEST(AgentCommandsTest, AsksWithTheSocketAndTheFormOfTheTable) {
   AgentCommands const commands{"/bin/echo", "/run/agent.sock"};
   EXPECT_EQ(commands.state(), "status --json --socket /run/agent.sock\n");
   EXPECT_EQ(commands.messages(), "messages --json --socket /run/agent.sock\n");
   EXPECT_EQ(commands.catalogue(), "catalogue --json\n");
   EXPECT_EQ(commands.table({}), "status --socket /run/agent.sock\n");
}

TEST(DemoOptionsTest, ReadsBothSpellings) {
   auto const options =
       parseOptions({"--time-scale=60", "--http", "127.0.0.1:9634", "--agent", "/bin/agent"});
   EXPECT_EQ(options.timeScale, 60.0);
   EXPECT_EQ(options.http, "127.0.0.1:9634");
   EXPECT_EQ(options.agent, "/bin/agent");
   EXPECT_EQ(options.help, "");
   EXPECT_EQ(parseOptions({}).timeScale, 60.0);
   EXPECT_NE(parseOptions({"--help"}).help.find("--time-scale N"), std::string::npos);
}

TEST(DemoOptionsTest, RefusesOptionsThatMakeNoSense) {
   for (auto const & arguments : std::vector<std::vector<std::string>>{{"--time-scale"},
                                                                       {"--time-scale", "0"},
                                                                       {"--time-scale", "nan"},
                                                                       {"--time-scale", "2x"},
                                                                       {"--http", "nowhere"},
                                                                       {"--http", "0.0.0.0:80"},
                                                                       {"--fast"},
                                                                       {"stray"}})
      EXPECT_THROW(parseOptions(arguments), UsageError) << arguments.front();
}

TEST(DemoStoryTest, IsRepeatableSinceTheUnitEndsAsItBooted) {
   SimulatedUnit unit;
   bootUnit(unit);
   auto const atBoot = unit.disks();
   EXPECT_EQ(atBoot, (std::vector<std::string>{"mmcblk0", "nvme0n1", "sda", "sdb"}));
   for (int round = 0; round < 2; ++round) {
      for (auto const & step : story())
         ASSERT_NO_THROW(step.act(unit)) << step.text;
      EXPECT_EQ(unit.disks(), atBoot);
   }
}

TEST(DemoStoryTest, WaitsForTheAgentsWordBeforeADiskCountsAsSeen) {
   unsigned absences = 0;
   for (auto const & step : story()) {
      bool const absence = step.text.find("stick is pulled") != std::string::npos;
      EXPECT_EQ(step.reached({}), absence) << step.text;
      absences += absence ? 1 : 0;
   }
   EXPECT_EQ(absences, 1U);
}

TEST(DemoConfigTest, IsAcceptedByTheAgent) {
   SimulatedUnit unit;
   Options options;
   options.timeScale = 60;
   options.http = "127.0.0.1:9634";
   auto const written = writeAgentConfig(unit, options);
   auto const config = Agent::configAt(written.file);
   EXPECT_EQ(config.appliance.etcDir, unit.etcFolder().string());
   EXPECT_EQ(config.appliance.expectedMounts, expectedMounts());
   ASSERT_EQ(config.appliance.sensors.size(), 1U);
   EXPECT_TRUE(config.sensors.contains(config.appliance.sensors.begin()->second));
   EXPECT_EQ(config.tools.path, unit.toolsPath().string());
   EXPECT_EQ(config.status.socket, written.statusSocket.string());
   EXPECT_FALSE(config.kernelMessages.forwardKmsg);
   EXPECT_TRUE(config.kernelMessages.socket.starts_with(unit.folder().string()));
   EXPECT_TRUE(config.appliance.mountSourceDir.starts_with(unit.folder().string()));
   EXPECT_EQ(config.logDestination, Agent::LogDestination::standardError);
   EXPECT_EQ(config.timeScale, 60.0);
   ASSERT_TRUE(config.status.http.has_value());
   EXPECT_EQ(config.status.http->text(), "127.0.0.1:9634");
}

TEST(AgentProcessTest, PassesTheChildItsEnvironmentAndReadsAllItWrites) {
   AgentProcess process("/bin/sh", {"-c", "echo out $SIMULATION; echo err >&2; printf unfinished; exit 3"},
                        {{"SIMULATION", "on"}});
   EXPECT_EQ(everything(process), (std::vector<std::string>{"out on", "err"}));
   EXPECT_EQ(process.stop(), "exit code 3");
   EXPECT_FALSE(process.running());
}

TEST(AgentProcessTest, CutsEndlessLines) {
   AgentProcess process("/bin/sh", {"-c", "head -c 10000 /dev/zero | tr '\\0' x; echo"}, {});
   auto const lines = everything(process);
   ASSERT_EQ(lines.size(), 3U);
   EXPECT_EQ(lines.front().size(), 4096U);
   EXPECT_EQ(lines.back().size(), 10000U - 2 * 4096U);
}

TEST(AgentProcessTest, EndsAtSigtermThoughNobodyReadsItsOutput) {
   AgentProcess process(
       "/bin/sh", {"-c", "trap 'yes | head -100000; exit 0' TERM; echo ready; while :; do sleep 0.01; done"},
       {});
   pollfd entry{process.outputDescriptor(), POLLIN, 0};
   poll(&entry, 1, 10000);
   EXPECT_TRUE(process.running());
   EXPECT_EQ(process.stop(), "exit code 0");
}

TEST(AgentProcessTest, IsKilledWhenItDoesNotListenAndLeavesNothing) {
   AgentProcess process("/bin/sh", {"-c", "trap '' TERM; sleep 1000 & echo $!; exec sleep 1000"}, {});
   pollfd entry{process.outputDescriptor(), POLLIN, 0};
   poll(&entry, 1, 10000);
   auto const lines = process.lines();
   ASSERT_EQ(lines.size(), 1U);
   EXPECT_TRUE(exists(lines.front()));
   EXPECT_EQ(process.stop(), "signal 9");
   EXPECT_FALSE(exists(lines.front()));
}

TEST(AgentProcessTest, RefusesAMissingProgram) {
   EXPECT_THROW(AgentProcess("/nonexistent/agent", {}, {}), std::system_error);
}
