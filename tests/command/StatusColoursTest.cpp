// The colours of one row of the status table.

#include <gtest/gtest.h>

#include "command/StatusTable.h"

namespace Command {
namespace {

// The row of a disk with these further members of the state document, on a wide terminal.
std::string colouredRow(std::string const & more, std::string const & messages = "") {
   return statusTable(
       R"({"time": 100, "connectedDevices": {"disk": {"S3E": {"mountPoint": "/mnt/drive"}}})" + more + "}",
       messages, {.colour = true});
}

bool isShown(std::string const & row, std::string const & colour, std::string const & text) {
   return row.find("\x1b[" + colour + "m" + text + "\x1b[0m") != std::string::npos;
}

constexpr char red[] = "31";
constexpr char yellow[] = "33";

TEST(StatusColoursTest, ShowsAllReasonsInTheColourOfTheWorst) {
   std::string const row = colouredRow(R"(, "verdicts": {"S3E": {"verdict": "failing", "reasons": [
      {"verdict": "failing", "text": "self-test failed"}, {"verdict": "warning", "text": "too hot"}]}})");
   EXPECT_TRUE(isShown(row, red, "failing")) << row;
   EXPECT_TRUE(isShown(row, red, "self-test failed; too hot")) << row;
}

TEST(StatusColoursTest, KeepsTheWorstVerdictRedBesideMilderCells) {
   std::string const row =
       colouredRow(R"(, "verdicts": {"S3E": {"verdict": "absent", "reasons": [{"text": "removed"}]}},
      "readings": {"S3E": [{"source": "smartctl", "failingSince": 40, "reason": "exit code 1"}]})",
                   R"({"messages": [{"severity": 6, "text": "note", "arguments": ["S3E"]}]})");
   EXPECT_TRUE(isShown(row, red, "absent")) << row;
   EXPECT_TRUE(isShown(row, red, "removed")) << row;
   EXPECT_TRUE(isShown(row, yellow, "smartctl failing for 1 min: exit code 1")) << row;
   EXPECT_TRUE(row.ends_with("\x1b[0m  - note\n")) << row;
}

TEST(StatusColoursTest, ColoursTheLatestMessageByItsSeverity) {
   auto const row = [](std::string const & severity) {
      return colouredRow(
          "", R"({"messages": [{"severity": )" + severity + R"(, "text": "event", "arguments": ["S3E"]}]})");
   };
   EXPECT_TRUE(isShown(row("3"), red, "- event")) << row("3");
   EXPECT_TRUE(isShown(row("4"), yellow, "- event")) << row("4");
   EXPECT_TRUE(row("6").ends_with("  - event\n")) << row("6");
}

TEST(StatusColoursTest, LeavesAHealthyRowWithoutWarningColours) {
   std::string const row = colouredRow(R"(, "verdicts": {"S3E": {"verdict": "ok", "reasons": []}},
      "readings": {"S3E": [{"source": "smartctl", "lastGood": 90}]})");
   EXPECT_TRUE(isShown(row, "32", "ok")) << row;
   for (char const * const colour : {red, yellow})
      EXPECT_EQ(row.find("\x1b[" + std::string{colour}), std::string::npos) << row;
}

}  // namespace
}  // namespace Command
