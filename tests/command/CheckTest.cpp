#include "command/Check.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <random>
#include <stdexcept>

#include "tests/support/RandomSeed.h"
#include "tests/support/Regex.h"

namespace Command {
namespace {

rapidjson::Document parsed(std::string const & text) {
   rapidjson::Document document;
   document.Parse(text.c_str());
   EXPECT_FALSE(document.HasParseError()) << text;
   return document;
}

CheckResult resultOf(std::string const & state) {
   return checkResult(parsed(state));
}

std::string lineOf(std::string const & state) {
   return checkLine(resultOf(state));
}

// A unit in order but for its disks, with further members.
std::string stateOf(std::string const & verdicts, std::string const & more = "",
                    std::string const & unit = "ok") {
   return R"({"internalDevicesReady": true, "unit": {"verdict": ")" + unit +
          R"(", "missing": []}, "verdicts": {)" + verdicts + "}" + more + "}";
}

std::string verdict(std::string const & serial, std::string const & word, std::string const & reasons = "") {
   return "\"" + serial + R"(": {"verdict": ")" + word + R"(", "since": 1, "reasons": [)" + reasons + "]}";
}

std::string reason(std::string const & text, std::string const & word = "warning") {
   return R"({"code": "a-code", "verdict": ")" + word + R"(", "text": ")" + text + "\"}";
}

constexpr char unit[] = R"(,
   "connectedDevices": {"disk": {"A": {"blockDevice": "/dev/sda"}, "B": {"blockDevice": "/dev/sdb"},
      "C": {"blockDevice": "/dev/nvme0n1"}}},
   "figures": {"A": {"temperature": 37.5, "lifeLeft": 98.0}, "B": {"temperature": 71.0},
      "C": {"lifeLeft": 9.0}, "G": {"temperature": 30, "disk": {"blockDevice": "/dev/sdg"}}},
   "limits": {"lifeWarning": 10.0, "lifeFailing": 1.0},
   "temperature": {"Sensor1": {"drive": "B", "overheat": 70.0, "critical": 80.0}})";

TEST(CheckTest, NamesEachDiskWithDeviceAndReasonsTheWorstFirst) {
   std::string const verdicts =
       verdict("A", "ok") + "," +
       verdict("B", "failing",
               reason("write test failed", "failing") + "," + reason("high temperature: 71 °C")) +
       "," + verdict("C", "warning", reason("9 % of its rated life is left")) + "," +
       verdict("G", "absent", reason("removed", "absent"));
   EXPECT_EQ(lineOf(stateOf(verdicts, unit, "failing")),
             "STORAGE CRITICAL - B (/dev/sdb) failing: write test failed, high temperature: 71 °C; "
             "G (/dev/sdg) absent: removed; C (/dev/nvme0n1) warning: 9 % of its rated life is left; "
             "A (/dev/sda) ok | 'absent'=1;;0;0 'failing'=1;;0;0 'ok'=1;;;0 'unknown'=0;;;0 'warning'=1;0;;0 "
             "'missing'=0;;0;0 'A temperature'=37.5 'A life left'=98%;10:;1:;0;100 'B temperature'=71;70;80 "
             "'C life left'=9%;10:;1:;0;100 'G temperature'=30\n");
}

TEST(CheckTest, LeavesOutWhatIsNotKnown) {
   EXPECT_EQ(lineOf(stateOf(verdict("A", "ok"))),
             "STORAGE OK - A ok | 'absent'=0;;0;0 'failing'=0;;0;0 'ok'=1;;;0 'unknown'=0;;;0 "
             "'warning'=0;0;;0 'missing'=0;;0;0\n");
}

TEST(CheckTest, TakesAMissingMountPointAsCritical) {
   std::string const line =
       lineOf(R"({"internalDevicesReady": true, "unit": {"verdict": "warning", "missing": ["/mnt/eusb"]},
                  "verdicts": {)" +
              verdict("A", "warning", reason("worn")) + "}}");
   EXPECT_TRUE(line.starts_with(
       "STORAGE CRITICAL - /mnt/eusb missing: no disk is connected for it; A warning: worn | "))
       << line;
   EXPECT_NE(line.find("'missing'=1;;0;0"), std::string::npos) << line;
}

struct StatusRow {
   char const * first;
   char const * second;
   PluginStatus status;
};

class CheckStatusTest : public testing::TestWithParam<StatusRow> {};

TEST_P(CheckStatusTest, IsThatOfTheWorstDisk) {
   auto const & [first, second, status] = GetParam();
   EXPECT_EQ(resultOf(stateOf(verdict("A", first) + "," + verdict("B", second))).status, status);
   EXPECT_EQ(resultOf(stateOf(verdict("A", second) + "," + verdict("B", first))).status, status);
   // Also where the agent knows of something that its disks do not show.
   EXPECT_EQ(resultOf(stateOf(verdict("A", first), "", second)).status, status);
}

void PrintTo(StatusRow const & row, std::ostream * out) {
   *out << row.first << " and " << row.second;
}

INSTANTIATE_TEST_SUITE_P(Check, CheckStatusTest,
                         testing::Values(StatusRow{"ok", "ok", PluginStatus::ok},
                                         StatusRow{"ok", "unknown", PluginStatus::unknown},
                                         StatusRow{"ok", "of a later version", PluginStatus::unknown},
                                         StatusRow{"ok", "", PluginStatus::unknown},
                                         StatusRow{"ok", "warning", PluginStatus::warning},
                                         StatusRow{"unknown", "warning", PluginStatus::warning},
                                         StatusRow{"warning", "absent", PluginStatus::critical},
                                         StatusRow{"unknown", "absent", PluginStatus::critical},
                                         StatusRow{"absent", "failing", PluginStatus::critical}));

TEST(CheckTest, IsUnknownWithoutDisksAndWhileTheyAreIdentified) {
   EXPECT_TRUE(lineOf(stateOf("")).starts_with("STORAGE UNKNOWN - no disk is watched: "));
   EXPECT_TRUE(lineOf(R"({"internalDevicesReady": false, "unit": {"verdict": "unknown"}, "verdicts": {)" +
                      verdict("A", "ok") + "}}")
                   .starts_with("STORAGE UNKNOWN - disks are still being identified; A ok | "));
   std::string const waiting = R"(, "discovery": {"unclassifiedDevices": {"/sys/a": {}, "/sys/b": {}}})";
   EXPECT_TRUE(lineOf(stateOf(verdict("A", "ok"), waiting))
                   .starts_with("STORAGE UNKNOWN - devices that wait to be classified: 2; A ok | "));
   EXPECT_TRUE(lineOf(stateOf(verdict("A", "ok"), "", "unknown"))
                   .starts_with("STORAGE UNKNOWN - the agent's verdict on the unit: unknown; A ok | "));
}

TEST(CheckTest, RefusesADocumentWithoutVerdicts) {
   for (char const * state : {"{}", "[]", R"({"verdicts": []})"})
      EXPECT_THROW(resultOf(state), std::runtime_error) << state;
}

TEST(CheckTest, CountsTheDisksForWhichThereIsNoRoom) {
   std::string verdicts;
   std::string figures;
   for (int i = 100; i < 160; ++i) {
      std::string const serial = "SERIAL-NUMBER-000" + std::to_string(i);
      verdicts += (i > 100 ? "," : "") +
                  verdict(serial, "failing", reason("the drive reports that it is failing", "failing"));
      figures += (i > 100 ? ",\"" : "\"") + serial + R"(": {"temperature": 37.25, "lifeLeft": 98})";
   }
   std::string const line = lineOf(stateOf(verdicts, ", \"figures\": {" + figures + "}"));
   EXPECT_LE(line.size(), 8000U);
   std::string const text = line.substr(0, line.find(" | "));
   EXPECT_LE(text.size(), 2030U);
   int named = 0;
   for (std::size_t at = 0; (at = text.find("SERIAL-NUMBER-000", at)) != std::string::npos; ++at)
      ++named;
   EXPECT_GT(named, 20);
   EXPECT_TRUE(text.ends_with("; and " + std::to_string(60 - named) + " more")) << text;
   EXPECT_NE(line.find("'failing'=60;;0;0"), std::string::npos);
   EXPECT_NE(line.find("'SERIAL-NUMBER-000159 life left'=98%"), std::string::npos);
}

TEST(CheckTest, BoundsTheLineWhateverTheNumberOfDisks) {
   std::string verdicts = verdict("first", "ok");
   std::string figures = R"("first": {"temperature": 1})";
   for (int i = 0; i < 2000; ++i) {
      verdicts += "," + verdict(std::string(200, 's') + std::to_string(i), "ok");
      figures += ",\"" + std::string(200, 's') + std::to_string(i) + R"(": {"temperature": 1})";
   }
   std::string const line = lineOf(stateOf(verdicts, ", \"figures\": {" + figures + "}"));
   EXPECT_LE(line.size(), 8000U);
   EXPECT_NE(line.find("'first temperature'=1"), std::string::npos);
}

// Whether it is one line of a plugin: a text, one bar, and data by the rules of the plugin guidelines.
bool isPluginLine(std::string const & line) {
   std::size_t const bar = line.find('|');
   if (!line.starts_with("STORAGE ") || line.find('\n') != line.size() - 1 || bar == std::string::npos)
      return false;
   std::string const number = R"(-?[0-9]+(\.[0-9]+)?)";
   std::string const range = "(" + number + ":?)?";
   Support::Regex const datum{" '([^'=]+)'=" + number + "%?(;" + range + "(;" + range + "(;" + number +
                              "?(;" + number + ")?)?)?)?"};
   std::string_view data = std::string_view{line}.substr(bar + 1, line.size() - bar - 2);
   while (!data.empty()) {
      auto const match = datum.matchStart(data);
      if (match.empty())
         return false;
      data.remove_prefix(match[0].size());
   }
   return true;
}

TEST(CheckTest, KeepsToTheFormatWhateverADeviceSays) {
   std::mt19937 random{Support::randomSeed(13)};
   constexpr std::string_view alphabet = "ab|='\";<>\n\r\t\x1b\x7f %$`\\&0:\xc3\xa4\xe2\x80\xa8\xff";
   auto const text = [&] {
      std::string result;
      for (auto length = random() % 30; length > 0; --length)
         result += alphabet[random() % alphabet.size()];
      return result;
   };
   for (int round = 0; round < 400; ++round) {
      CheckResult result{.status = PluginStatus::critical, .counts = {{"failing", 1}}};
      result.disks.push_back({text(), text(), text(), PluginStatus::critical, {{"code", "failing", text()}}});
      result.disks.back().temperature = static_cast<double>(random()) / 1e5 - 1e4;
      result.disks.back().lifeLeft = static_cast<double>(random() % 200) / 2;
      result.missing.push_back(text());
      std::string const line = checkLine(result);
      ASSERT_TRUE(isPluginLine(line)) << line;
      std::string const unknown = unknownLine(text());
      ASSERT_EQ(unknown.find_first_of("|\n"), unknown.size() - 1) << unknown;
   }
}

TEST(CheckTest, WritesTheSameAsJson) {
   std::string const verdicts = verdict("A", "ok") + "," + verdict("C", "warning", reason("worn"));
   auto const result =
       resultOf(R"({"internalDevicesReady": true, "unit": {"missing": ["/mnt/x"]}, "verdicts": {)" +
                verdicts + "}" + unit + "}");
   auto const json = parsed(checkJson(result));
   EXPECT_STREQ(json["status"].GetString(), "CRITICAL");
   EXPECT_EQ(json["exitCode"].GetInt(), 2);
   ASSERT_EQ(json["disks"].Size(), 2U);
   auto const & worst = json["disks"][0];
   EXPECT_STREQ(worst["serial"].GetString(), "C");
   EXPECT_STREQ(worst["device"].GetString(), "/dev/nvme0n1");
   EXPECT_STREQ(worst["verdict"].GetString(), "warning");
   EXPECT_STREQ(worst["reasons"][0]["code"].GetString(), "a-code");
   EXPECT_STREQ(worst["reasons"][0]["verdict"].GetString(), "warning");
   EXPECT_STREQ(worst["reasons"][0]["text"].GetString(), "worn");
   EXPECT_EQ(worst["lifeLeft"].GetDouble(), 9);
   EXPECT_FALSE(worst.HasMember("temperature"));
   EXPECT_EQ(json["disks"][1]["temperature"].GetDouble(), 37.5);
   EXPECT_STREQ(json["missing"][0].GetString(), "/mnt/x");
   EXPECT_FALSE(json.HasMember("remark"));
   auto const unknown = parsed(unknownJson("no socket"));
   EXPECT_STREQ(unknown["status"].GetString(), "UNKNOWN");
   EXPECT_EQ(unknown["exitCode"].GetInt(), 3);
   EXPECT_STREQ(unknown["error"].GetString(), "no socket");
}

}  // namespace
}  // namespace Command
