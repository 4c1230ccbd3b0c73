// `storagedevices history` as an operator runs it, with a server in the place of the agent.

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/integration/agent/Shell.h"
#include "tests/support/FakeAgent.h"
#include "tests/support/TempDir.h"

namespace {

constexpr char servedState[] =
    R"({"time": 1795175220, "internalDevicesReady": true, "unit": {"verdict": "warning"},
   "connectedDevices": {"disk": {"SN-A": {"blockDevice": "/dev/sda"}, "S/N &1": {"blockDevice": "/dev/sdb"}}},
   "verdicts": {"SN-A": {"verdict": "ok"}, "S/N &1": {"verdict": "warning"}}})";
constexpr char servedReadings[] =
    R"({"time": [1795175100, 1795175160, 1795175220], "temperature": [40, null, 42],
   "lifeLeft": [93, 93, 93], "readBytesPerSecond": [0, 0, 0], "writtenBytesPerSecond": [0, 0, 5e6]})";

class HistoryCommandTest : public testing::Test {
 protected:
   std::string answer(std::string const & resource) {
      asked.push_back(resource);
      if (resource == "/api/v1/state?history=0")
         return state;
      return resource.starts_with("/api/v1/history?") ? readings : "";
   }
   Output history(std::string const & options, std::string const & environment = "LC_ALL=C.UTF-8 ") {
      std::filesystem::remove(path);
      Support::FakeAgent const agent{
          path,
          Support::FakeAgent::answering([this](std::string const & resource) { return answer(resource); })};
      return runProgram("history --socket " + path + " " + options, environment);
   }

   Support::TempDir folder;
   std::string path = folder.string() + "/history.sock";
   std::string state = servedState;
   std::string readings = servedReadings;
   std::vector<std::string> asked;
};

TEST_F(HistoryCommandTest, PlotsEachDiskTheWorstFirst) {
   Output const plots = history("");
   EXPECT_EQ(plots.exitCode, 0);
   EXPECT_TRUE(plots.text.starts_with("S/N &1 (/dev/sdb): 24 hours until 2026-11-20 11:47 UTC\n"))
       << plots.text;
   EXPECT_NE(plots.text.find("\n\nSN-A (/dev/sda): 24 hours until "), std::string::npos) << plots.text;
   EXPECT_NE(plots.text.find("\nTemperature: 40 °C to 42 °C, last 42 °C\n"), std::string::npos) << plots.text;
   EXPECT_NE(plots.text.find("·▁\n"), std::string::npos) << plots.text;
   EXPECT_EQ(asked[1], "/api/v1/history?disk=S%2FN%20%261&hours=24");
   EXPECT_EQ(asked[2], "/api/v1/history?disk=SN-A&hours=24");
}

TEST_F(HistoryCommandTest, ChoosesTheDiskAndTheHours) {
   Output const plots = history("--disk SN-A --hours 1");
   EXPECT_TRUE(plots.text.starts_with("SN-A (/dev/sda): 1 hour until ")) << plots.text;
   EXPECT_EQ(plots.text.find("S/N"), std::string::npos);
   EXPECT_EQ(asked,
             (std::vector<std::string>{"/api/v1/state?history=0", "/api/v1/history?disk=SN-A&hours=1"}));
}

TEST_F(HistoryCommandTest, PrintsTheServedDocumentOfOneDiskAndAnObjectOfAll) {
   EXPECT_EQ(history("--json --disk SN-A").text, readings + "\n");
   Output const all = history("--json");
   EXPECT_EQ(all.exitCode, 0);
   rapidjson::Document document;
   document.Parse(all.text.c_str());
   ASSERT_FALSE(document.HasParseError()) << all.text;
   EXPECT_EQ(document.MemberCount(), 2U);
   EXPECT_EQ(document["S/N &1"]["temperature"][2].GetInt(), 42);
   EXPECT_TRUE(document["SN-A"]["temperature"][1].IsNull());
}

TEST_F(HistoryCommandTest, TakesTheWidthTheColoursAndTheLocaleOfTheUser) {
   readings = R"({"time": [1795175220], "lifeLeft": [5]})";
   state.insert(1, R"("limits": {"lifeWarning": 10}, )");
   std::string const narrow = history("--disk SN-A", "LC_ALL=C.UTF-8 COLUMNS=40 ").text;
   std::string gaps;
   for (int column = 0; column < 29; ++column)
      gaps += "·";
   EXPECT_NE(narrow.find("     0 % ┤" + gaps + "▁\n"), std::string::npos) << narrow;
   EXPECT_NE(history("--disk SN-A", "LC_ALL=C.UTF-8 CLICOLOR_FORCE=1 ").text.find("\x1b[33m▁\x1b[0m"),
             std::string::npos);
   EXPECT_EQ(history("--disk SN-A", "LC_ALL=C.UTF-8 CLICOLOR_FORCE=1 NO_COLOR=1 ").text.find('\x1b'),
             std::string::npos);
   std::string const ascii = history("--disk SN-A", "LC_ALL=C ").text;
   EXPECT_TRUE(std::all_of(ascii.begin(), ascii.end(), [](char c) {
      return c == '\n' || (c >= ' ' && c <= '~');
   })) << ascii;
}

TEST_F(HistoryCommandTest, SaysWhatToDoInOneLine) {
   Output const unknown = history("--disk nope");
   EXPECT_EQ(unknown.exitCode, 1);
   EXPECT_EQ(unknown.text,
             "nope: the agent knows no disk of this serial number: \"storagedevices status\" lists them\n");
   Output const silent = runProgram("history --socket " + folder.string() + "/none.sock");
   EXPECT_EQ(silent.exitCode, 1);
   EXPECT_TRUE(silent.text.starts_with(folder.string() + "/none.sock: the socket does not exist: "))
       << silent.text;
   readings = "[1]";
   Output const other = history("");
   EXPECT_EQ(other.exitCode, 1);
   EXPECT_EQ(other.text, "the agent's answer is no history: is it of the same version as this program?\n");
   EXPECT_EQ(runProgram("history --hours 0").exitCode, 2);
}

TEST_F(HistoryCommandTest, SaysWhereNoDiskIsWatched) {
   state = R"({"verdicts": {}})";
   EXPECT_EQ(history("").text, "No disk is watched: \"storagedevices check-config\" shows why.\n");
   EXPECT_EQ(history("--json").text, "{}\n");
}

}  // namespace
