#include "command/BlockPlot.h"

#include <gtest/gtest.h>

#include "base/Text.h"

namespace Command {
namespace {

constexpr std::nullopt_t gap = std::nullopt;
constexpr PlotStyle blocks{.labelWidth = 3};
constexpr PlotStyle ascii{.utf8 = false, .labelWidth = 3};

TEST(BlockPlotTest, DrawsEighthsOfARow) {
   BlockPlot const plot{{0, 1, 4, 8, 9, 12, 16}, {0, 16}, 2, "0", "16"};
   EXPECT_EQ(blockPlot(plot, blocks),
             " 16 ┤    ▁▄█\n"
             "  0 ┤▁▁▄████\n");
}

TEST(BlockPlotTest, MarksGapsAndReadingsOfZeroDifferently) {
   BlockPlot const plot{{gap, 0, gap, gap, 2}, {0, 2}, 3, "0", "2"};
   EXPECT_EQ(blockPlot(plot, blocks),
             "  2 ┤    █\n"
             "    │    █\n"
             "  0 ┤·▁··█\n");
   EXPECT_EQ(blockPlot(plot, ascii),
             "  2 +    #\n"
             "    |    #\n"
             "  0 +.:..#\n");
}

TEST(BlockPlotTest, KeepsReadingsBeyondTheRangeInside) {
   EXPECT_EQ(blockPlot({{-5, 99}, {0, 1}, 1, "0", "1"}, blocks), "  1 ┤▁█\n");
}

TEST(BlockPlotTest, CutsLabelsThatAreTooLong) {
   EXPECT_EQ(blockPlot({{1}, {0, 1}, 1, "", "12345"}, blocks), "12… ┤█\n");
}

TEST(BlockPlotTest, ColoursNeighboursOfOneToneTogether) {
   BlockPlot const plot{{1, 2, 2, gap, 3}, {0, 3}, 1, "", "3", [](double value) {
                           return value > 2 ? Tone::bad : value > 1 ? Tone::warning : Tone::plain;
                        }};
   PlotStyle style = blocks;
   EXPECT_EQ(blockPlot(plot, style), "  3 ┤▃▅▅·█\n");
   style.colour = true;
   EXPECT_EQ(blockPlot(plot, style), "  3 ┤▃\x1b[33m▅▅\x1b[0m·\x1b[31m█\x1b[0m\n");
}

// 2026-11-20T00:00:00Z
constexpr double midnight = 1795132800;

TEST(BlockPlotTest, LabelsTimesOfTheDayAndMidnightByItsDate) {
   EXPECT_EQ(timeAxis({midnight - 3 * 3600, midnight + 3 * 3600}, 48, blocks),
             "    └┬───────┬───────┬───────┬───────┬───────┬───────\n"
             "     21:00 22:00   23:00   11-20   01:00   02:00\n");
   EXPECT_EQ(timeAxis({midnight + 30, midnight + 630}, 40, ascii),
             "    +------+-------+-------+-------+---------\n"
             "         00:02   00:04   00:06   00:08\n");
}

TEST(BlockPlotTest, LabelsDaysInALongHistory) {
   EXPECT_EQ(timeAxis({midnight, midnight + 30 * 86400.0}, 60, blocks),
             "    └────────────┬─────────────┬─────────────┬─────────────┬─────\n"
             "               11-26         12-03         12-10         12-17\n");
}

TEST(BlockPlotTest, EndsItsAxisForAnyTimes) {
   for (double const time : {-1e300, -1e12, 0.0, 1e12, 1e300}) {
      std::string const axis = timeAxis({time - 3600, time}, 40, ascii);
      EXPECT_EQ(axis.find('\n'), 45U) << axis;
   }
}

TEST(BlockPlotTest, KeepsLabelsApartAndInsideAtAnyWidth) {
   for (std::size_t columns = 1; columns < 200; ++columns)
      for (double const hours : {1, 5, 24, 100, 8760}) {
         std::string const axis = timeAxis({midnight - hours * 3600, midnight}, columns, ascii);
         std::string const labels = axis.substr(axis.find('\n') + 1);
         EXPECT_LE(labels.size(), 5 + columns + 1) << columns;
         for (std::size_t at = labels.find_first_not_of(' '); at + 1 < labels.size();
              at = labels.find_first_not_of(' ', at + 5)) {
            EXPECT_TRUE(labels[at + 5] == ' ' || labels[at + 5] == '\n') << labels;
         }
      }
}

bool operator==(PlotRange const & a, PlotRange const & b) {
   return a.low == b.low && a.high == b.high;
}

TEST(BlockPlotTest, FitsARangeAroundTheReadings) {
   EXPECT_TRUE(fittingRange(26, 71, 4) == (PlotRange{20, 80}));
   EXPECT_TRUE(fittingRange(41, 41, 4) == (PlotRange{40, 44}));
   EXPECT_TRUE(fittingRange(40, 47, 4) == (PlotRange{39, 47}));
   EXPECT_TRUE(fittingRange(-12, -3, 4) == (PlotRange{-14, -2}));
   EXPECT_TRUE(fittingRange(-1e14, 1e14, 4).high >= 1e14);
}

TEST(BlockPlotTest, FitsARangeFromZero) {
   EXPECT_TRUE(rangeFromZero(0) == (PlotRange{0, 1}));
   EXPECT_TRUE(rangeFromZero(2e6) == (PlotRange{0, 2e6}));
   EXPECT_TRUE(rangeFromZero(2.1e6) == (PlotRange{0, 5e6}));
   EXPECT_TRUE(rangeFromZero(-3) == (PlotRange{0, 1}));
}

}  // namespace
}  // namespace Command
