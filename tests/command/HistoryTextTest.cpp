#include "command/HistoryText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "base/Text.h"

namespace Command {
namespace {

class HistoryTextTest : public testing::Test {
 protected:
   HistoryTextTest() {
      disk.serial = "KS024";
      disk.device = "/dev/sda";
      disk.overheat = 70;
      disk.critical = 80;
      unit.lifeWarning = 10;
      unit.lifeFailing = 1;
      options.now = 1795175220;  // 2026-11-20 11:47 UTC
      options.hours = 1;
   }
   // A reading every five minutes of the last hour.
   void add(Reading temperature, Reading lifeLeft, Reading read, Reading written) {
      history.times.clear();
      history.temperature.push_back(temperature);
      history.lifeLeft.push_back(lifeLeft);
      history.readPerSecond.push_back(read);
      history.writtenPerSecond.push_back(written);
      for (std::size_t ago = history.temperature.size(); ago-- > 0;)
         history.times.push_back(options.now - 300 * static_cast<double>(ago));
   }
   std::string text() const { return historyText(disk, unit, history, options); }

   CheckedDisk disk;
   CheckResult unit;
   ServedHistory history;
   HistoryOptions options;
};

constexpr std::nullopt_t nothing = std::nullopt;

TEST_F(HistoryTextTest, PlotsEachFigureAboveOneAxis) {
   for (double const part : {0.0, 0.25, 0.5})
      add(34 + part * 40, 93, part * 4e6, 0);
   add(nothing, nothing, nothing, nothing);
   for (double const part : {0.5, 1.0})
      add(34 + part * 40, 92, part * 4e6, 1000);
   options.width = 35;
   EXPECT_EQ(text(),
             "KS024 (/dev/sda): 1 hour until 202…\n"
             "Temperature: 34 °C to 74 °C, last …\n"
             "   80 °C ┤                        ▄\n"
             "         │                        █\n"
             "         │                ▁▁▇▇  ▇▇█\n"
             "   30 °C ┤············▃▃▃▃████··███\n"
             "Life left: 92 % to 93 %, last 92 %…\n"
             "   100 % ┤            ▆▆▆▆▆▆▆▆  ▆▆▆\n"
             "         │            ████████  ███\n"
             "     0 % ┤············████████··███\n"
             "Read: 0 B/s to 4.0 MB/s, last 4.0 …\n"
             "5.0 MB/s ┤                        ▃\n"
             "         │                  ▂▂  ▂▂█\n"
             "   0 B/s ┤············▁▁▁▁▅▅██··███\n"
             "Written: 0 B/s to 1.0 kB/s, last 1…\n"
             "1.0 kB/s ┤                      ███\n"
             "         │                      ███\n"
             "   0 B/s ┤············▁▁▁▁▁▁▁▁··███\n"
             "         └─────┬───────────┬───────\n"
             "             11:00       11:30\n");
}

TEST_F(HistoryTextTest, SaysWhereNothingWasRead) {
   add(nothing, nothing, nothing, nothing);
   EXPECT_EQ(text(),
             "KS024 (/dev/sda): 1 hour until 2026-11-20 11:47 UTC\nTemperature: nothing was read\n"
             "Life left: nothing was read\nRead: nothing was read\nWritten: nothing was read\n");
   EXPECT_EQ(historyText(disk, unit, {}, options), text());
}

TEST_F(HistoryTextTest, NamesTheLeastTheGreatestAndTheLastReadingAndTheLimits) {
   add(34, 93, 0, 5e6);
   add(58, 93, 1.5e6, 5e6);
   add(41, 92, 1000, 5e6);
   EXPECT_NE(text().find("\nTemperature: 34 °C to 58 °C, last 41 °C, too hot at 70 °C, critical at 80 °C\n"),
             std::string::npos)
       << text();
   EXPECT_NE(text().find("\nLife left: 92 % to 93 %, last 92 %, worn at 10 %, used up at 1 %\n"),
             std::string::npos);
   EXPECT_NE(text().find("\nRead: 0 B/s to 1.5 MB/s, last 1.0 kB/s\n2.0 MB/s ┤"), std::string::npos)
       << text();
   EXPECT_NE(text().find("\nWritten: 5.0 MB/s, last 5.0 MB/s\n5.0 MB/s ┤"), std::string::npos) << text();
   disk.overheat = disk.critical = unit.lifeWarning = unit.lifeFailing = std::nullopt;
   EXPECT_NE(text().find(", last 41 °C\n"), std::string::npos);
   EXPECT_NE(text().find(", last 92 %\n"), std::string::npos);
}

TEST_F(HistoryTextTest, FitsAnyWidth) {
   for (int i = 0; i < 12; ++i)
      add(20.0 + i, i < 6 ? Reading{} : 90, i * 1e5, 3e8);
   for (std::size_t const width : {20U, 33U, 80U, 150U, 999U}) {
      options.width = width;
      std::istringstream lines{text()};
      std::size_t widest = 0;
      for (std::string line; std::getline(lines, line);)
         widest = std::max(widest, Base::displayWidth(line));
      EXPECT_EQ(widest, width);
   }
   options.width = 0;
   std::string const usual = text();
   options.width = 80;
   EXPECT_EQ(text(), usual);
}

TEST_F(HistoryTextTest, ColoursReadingsBeyondTheLimits) {
   add(75, 93, 0, 0);
   add(85, 10, 0, 0);
   add(40, 1, 0, 0);
   EXPECT_EQ(text().find('\x1b'), std::string::npos);
   options.colour = true;
   std::string const coloured = text();
   for (std::string const part : {"\x1b[1mKS024 (", "\x1b[33m█", "\x1b[31m█", "\x1b[33m▂", "\x1b[31m▁"})
      EXPECT_NE(coloured.find(part), std::string::npos) << part << "\n" << coloured;
}

TEST_F(HistoryTextTest, IsAsciiWhereTheTerminalHasNothingElse) {
   disk.serial = "KSé";
   add(34, 93, 0, 5e6);
   add(nothing, 93, 0, 5e6);
   options.utf8 = false;
   std::string const plain = text() + historyLegend(options);
   EXPECT_TRUE(std::all_of(plain.begin(), plain.end(), [](char c) {
      return c == '\n' || (c >= ' ' && c <= '~');
   })) << plain;
   EXPECT_TRUE(plain.starts_with("KS?? (/dev/sda): ")) << plain;
   EXPECT_NE(plain.find("Temperature: 34 C, last 34 C"), std::string::npos);
}

TEST_F(HistoryTextTest, EscapesWhatADeviceSaysOfItself) {
   disk.serial = "\x1b[2J\n";
   add(34, 93, 0, 0);
   EXPECT_TRUE(text().starts_with("\\x1b[2J\\n (/dev/sda): 1 hour until ")) << text();
}

TEST_F(HistoryTextTest, ExplainsItsMarks) {
   EXPECT_EQ(historyLegend(options),
             "Per column: highest temperature, last life left, mean rates; · nothing was read.\n");
   options.utf8 = false;
   EXPECT_NE(historyLegend(options).find("; . nothing"), std::string::npos);
}

}  // namespace
}  // namespace Command
