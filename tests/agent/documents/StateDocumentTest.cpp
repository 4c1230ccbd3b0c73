#include "agent/documents/StateDocument.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "tests/support/DocumentText.h"

namespace {

using BusType = StorageDevices::ConnectedDisk::BusType;
using EntityMib::StorageType;

using Keys = std::set<std::string>;

Keys keysOf(rapidjson::Value const & object) {
   Keys keys;
   for (auto const & member : object.GetObject())
      keys.insert(member.name.GetString());
   return keys;
}

class StateDocumentTest : public testing::Test {
 protected:
   rapidjson::Document document(bool ready) const {
      rapidjson::Document parsed;
      parsed.Parse(text(ready).c_str());
      return parsed;
   }
   std::string text(bool ready) const {
      return Support::documentText(*Agent::stateDocument({ready,
                                                          1795196298.5,
                                                          entities,
                                                          errors,
                                                          tools,
                                                          readings,
                                                          verdicts,
                                                          {},
                                                          kernelLines,
                                                          logLinesDropped,
                                                          configuration}));
   }

   Agent::Entities entities;
   Pelm::Ptr<StorageDevices::ConnectedDevices> devices = entities.devices;
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker = Pelm::make<Brul::ChildProcessTrackerSm>();
   Agent::IoStatErrors errors;
   std::optional<Agent::KernelLineCounts> kernelLines;
   std::uint64_t logLinesDropped = 0;
   Agent::ConfigurationReport configuration{"/etc/x.toml"};
   Agent::ToolRuns tools{tracker};
   Agent::Readings readings{entities};
   Agent::Config::VerdictLimits limits;
   Agent::Verdicts verdicts{entities, limits, readings, [] { return nullptr; }, [] { return false; }};
};

TEST_F(StateDocumentTest, ShowsAllKeysOfAnEmptyUnit) {
   auto const state = document(false);
   EXPECT_TRUE(state["version"].IsString());
   EXPECT_EQ(state["time"].GetDouble(), 1795196298.5);
   EXPECT_FALSE(state["internalDevicesReady"].GetBool());
   EXPECT_TRUE(state["connectedDevices"]["disk"].ObjectEmpty());
   EXPECT_TRUE(state["connectedDevices"]["udevSerialToSerialMap"].ObjectEmpty());
   for (char const * key :
        {"smartData", "nvmeData", "emmcData", "ioStatData", "readings", "deviceLifetimeChange", "temperature",
         "mountPoints", "kernelLines", "verdicts", "figures"})
      EXPECT_TRUE(state[key].ObjectEmpty()) << key;
   EXPECT_EQ(state["tools"]["runs"].GetUint(), 0U);
   EXPECT_EQ(keysOf(state["ioStatErrors"]), (Keys{"openErrorCount", "getlineErrorCount", "regexErrorCount"}));
   EXPECT_TRUE(state["storageDevicesInfo"]["fsList"].ObjectEmpty());
   EXPECT_EQ(state["log"]["linesDropped"].GetUint(), 0U);
   EXPECT_EQ(state["discovery"]["anonymousRemovalCount"].GetUint(), 0U);
   EXPECT_TRUE(state["discovery"]["unclassifiedDevices"].ObjectEmpty());
   EXPECT_STREQ(state["unit"]["verdict"].GetString(), "unknown");
   EXPECT_TRUE(state["unit"]["missing"].Empty());
   EXPECT_EQ(keysOf(state["configuration"]), (Keys{"file", "processId", "reloads"}));
   EXPECT_EQ(keysOf(state), (Keys{"version",
                                  "configuration",
                                  "time",
                                  "internalDevicesReady",
                                  "connectedDevices",
                                  "discovery",
                                  "smartData",
                                  "nvmeData",
                                  "emmcData",
                                  "ioStatData",
                                  "ioStatErrors",
                                  "deviceLifetimeChange",
                                  "temperature",
                                  "mountPoints",
                                  "storageDevicesInfo",
                                  "readings",
                                  "verdicts",
                                  "figures",
                                  "unit",
                                  "limits",
                                  "kernelLines",
                                  "log",
                                  "tools"}));
}

TEST_F(StateDocumentTest, ShowsTheLimitsOfWearAsTheyAreNow) {
   limits = {20, 2.5};
   auto const state = document(true);
   EXPECT_EQ(state["limits"]["lifeWarning"].GetDouble(), 20);
   EXPECT_EQ(state["limits"]["lifeFailing"].GetDouble(), 2.5);
}

TEST_F(StateDocumentTest, ShowsTheConfigurationAndItsLatestReload) {
   configuration.reloads = 3;
   configuration.lastReload = {1795196000.5, false, "/etc/x.toml:3: an error"};
   auto const state = document(false);
   auto const & shown = state["configuration"];
   EXPECT_STREQ(shown["file"].GetString(), "/etc/x.toml");
   EXPECT_EQ(shown["processId"].GetInt(), getpid());
   EXPECT_EQ(shown["reloads"].GetUint(), 3U);
   EXPECT_EQ(shown["lastReload"]["time"].GetDouble(), 1795196000.5);
   EXPECT_FALSE(shown["lastReload"]["good"].GetBool());
   EXPECT_STREQ(shown["lastReload"]["text"].GetString(), "/etc/x.toml:3: an error");
}

TEST_F(StateDocumentTest, CountsFailedSamplesByCause) {
   errors = {1, 2, 3};
   auto const state = document(false);
   EXPECT_EQ(state["ioStatErrors"]["openErrorCount"].GetUint(), 1U);
   EXPECT_EQ(state["ioStatErrors"]["getlineErrorCount"].GetUint(), 2U);
   EXPECT_EQ(state["ioStatErrors"]["regexErrorCount"].GetUint(), 3U);
}

TEST_F(StateDocumentTest, CountsLinesOfTheKernelAndOfTheLog) {
   kernelLines = {9, 6, 5, 3, 1};
   logLinesDropped = 7;
   auto const state = document(false);
   auto const & lines = state["kernelLines"];
   EXPECT_EQ(lines["received"].GetUint(), 9U);
   EXPECT_EQ(lines["forwarded"].GetUint(), 6U);
   EXPECT_EQ(lines["rewritten"].GetUint(), 5U);
   EXPECT_EQ(lines["dropped"].GetUint(), 3U);
   EXPECT_EQ(lines["overruns"].GetUint(), 1U);
   EXPECT_EQ(state["log"]["linesDropped"].GetUint(), 7U);
}

TEST_F(StateDocumentTest, ShowsEveryFieldOfADisk) {
   devices->diskIs("SN1", StorageType::sataSsd, "/dev/sda", "/mnt/drive", "Model A", "1.2", false,
                   BusType::sata, "1", 256);
   devices->udevSerialToSerialMapIs("UDEV1", "SN1");
   auto const state = document(true);
   EXPECT_TRUE(state["internalDevicesReady"].GetBool());
   auto const & disk = state["connectedDevices"]["disk"]["SN1"];
   EXPECT_STREQ(disk["name"].GetString(), "SN1");
   EXPECT_EQ(disk["mibType"].GetInt(), 2);
   EXPECT_STREQ(disk["blockDevice"].GetString(), "/dev/sda");
   EXPECT_STREQ(disk["mountPoint"].GetString(), "/mnt/drive");
   EXPECT_STREQ(disk["model"].GetString(), "Model A");
   EXPECT_STREQ(disk["firmwareRevision"].GetString(), "1.2");
   EXPECT_FALSE(disk["removable"].GetBool());
   EXPECT_EQ(disk["busType"].GetInt(), 1);
   EXPECT_STREQ(disk["devAddress"].GetString(), "1");
   EXPECT_EQ(disk["sizeGb"].GetUint(), 256U);
   EXPECT_STREQ(disk["deviceIntfAndAddress"].GetString(), "ata1");
   EXPECT_STREQ(state["connectedDevices"]["udevSerialToSerialMap"]["UDEV1"].GetString(), "SN1");
}

TEST_F(StateDocumentTest, ShowsTheVerdictsOfTheLatestEvaluation) {
   devices->diskIs("SN1", StorageType::sataSsd, "/dev/sda", "/mnt/drive", "Model A", "1.2", false,
                   BusType::nvme, "1", 256);
   entities.nvme->deviceDataIs("SN1");
   entities.nvme->deviceData("SN1")->percentageUsedIs({"percent_used", 91});
   EXPECT_TRUE(document(true)["verdicts"].ObjectEmpty());
   verdicts.evaluate();
   auto const state = document(true);
   EXPECT_STREQ(state["unit"]["verdict"].GetString(), "warning");
   EXPECT_STREQ(state["verdicts"]["SN1"]["verdict"].GetString(), "warning");
   EXPECT_STREQ(state["verdicts"]["SN1"]["reasons"][0]["text"].GetString(), "9 % of its rated life is left");
   EXPECT_EQ(state["figures"]["SN1"]["lifeLeft"].GetDouble(), 9);
}

TEST_F(StateDocumentTest, WritesNamesFromDevicesAsValidText) {
   devices->diskIs(Pelm::String{std::string_view{"S\xff\x01\0N", 5}}, StorageType::eMmc, "/dev/mmcblk0",
                   "/mnt/x", "\xc3\x28", "", true, BusType::other, "", 4294967295U);
   auto const state = document(true);
   ASSERT_FALSE(state.HasParseError());
   ASSERT_EQ(state["connectedDevices"]["disk"].MemberCount(), 1U);
   auto const & disk = state["connectedDevices"]["disk"].MemberBegin()->value;
   EXPECT_STREQ(disk["model"].GetString(), "\\xc3(");
   EXPECT_EQ(disk["sizeGb"].GetUint(), 4294967295U);
}

TEST_F(StateDocumentTest, DistinguishesSerialsThatDifferInIllFormedBytesAlone) {
   for (char const * const serial : {"SN\xff", "SN\xfe", "SN\\xff"})
      devices->diskIs(serial, StorageType::sataSsd, "/dev/sda", "/mnt/drive", "", "", false, BusType::sata,
                      "1", 1);
   auto const state = document(true);
   auto const & disks = state["connectedDevices"]["disk"];
   EXPECT_EQ(disks.MemberCount(), 3U);
   for (char const * const key : {"SN\\xff", "SN\\xfe", "SN\\x5cxff"})
      EXPECT_TRUE(disks.HasMember(key)) << key;
}

TEST_F(StateDocumentTest, EscapesTerminalControlsInNamesFromDevices) {
   // The eight-bit escape of terminals, a right-to-left override, and an innocent letter.
   std::string const rightToLeft = std::string{"\xe2"} + "\x80\xae";
   std::string const model = "\xc2\x9b" + std::string{"2J"} + rightToLeft + "\xc3\xbc\x7f";
   devices->diskIs("SN\xc2\x9b", StorageType::sataSsd, "/dev/sda", "/mnt/drive", Pelm::String{model}, "",
                   false, BusType::sata, "1", 256);
   std::string const json = text(true);
   EXPECT_TRUE(std::all_of(json.begin(), json.end(), [](char c) { return c >= ' ' && c <= '~'; })) << json;
   rapidjson::Document state;
   state.Parse(json.c_str());
   EXPECT_EQ(state["connectedDevices"]["disk"]["SN\xc2\x9b"]["model"].GetString(), model);
}

}  // namespace
