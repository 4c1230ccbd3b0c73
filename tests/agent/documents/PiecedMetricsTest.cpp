#include "agent/documents/PiecedMetrics.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/DocumentText.h"
#include "tests/support/FailingAllocations.h"

namespace {

std::size_t smallestRefused = SIZE_MAX;

}  // namespace

bool Support::refusesAllocation(std::size_t bytes) {
   return bytes >= smallestRefused;
}

namespace Agent {
namespace {

constexpr MetricDefinition lamps{"lamps", Metric::Gauge, {"room"}, "Lamps of a room."};
constexpr MetricDefinition doors{"doors_total", Metric::Counter, {}, "Doors."};

// Rooms 0 to `count` less one, a room at each call.
SeriesSource rooms(std::size_t count) {
   return [count, at = std::size_t{0}](MetricSeries & series) mutable {
      if (at < count)
         series.add({std::to_string(at)}, static_cast<double>(at));
      return ++at < count;
   };
}

SeriesSource doorsAre(double count) {
   return wholeSeries([count](MetricSeries & series) { series.add({}, count); });
}

std::size_t countOf(std::string const & text, std::string const & part) {
   std::size_t count = 0;
   for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
      ++count;
   return count;
}

TEST(PiecedMetricsTest, WritesHelpTypeAndSeries) {
   PiecedMetrics document{{{&lamps, rooms(2)}, {&doors, doorsAre(2.5)}}};
   EXPECT_EQ(Support::documentText(document),
             "# HELP lamps Lamps of a room.\n"
             "# TYPE lamps gauge\n"
             "lamps{room=\"0\"} 0\n"
             "lamps{room=\"1\"} 1\n"
             "# HELP doors_total Doors.\n"
             "# TYPE doors_total counter\n"
             "doors_total 2.5\n");
}

TEST(PiecedMetricsTest, IsSilentAboutFamiliesWithoutSeries) {
   PiecedMetrics document{{{&lamps, rooms(0)}, {&doors, doorsAre(1)}, {&lamps, rooms(0)}}};
   std::string const text = Support::documentText(document);
   EXPECT_TRUE(text.starts_with("# HELP doors_total")) << text;
   EXPECT_EQ(countOf(text, "lamps"), 0U);
   EXPECT_EQ(Support::documentText(*std::make_unique<PiecedMetrics>(MetricSources{})), "");
}

// Whatever the number of series of the first families, a family's head comes once, before its series.
TEST(PiecedMetricsTest, WritesTheHeadOfAFamilyOnceWhereverAPieceEnds) {
   for (std::size_t first = 0; first <= 2 * PiecedMetrics::pieceSeries + 1; ++first) {
      PiecedMetrics document{{{&doors, doorsAre(1)}, {&lamps, rooms(first)}, {&doors, doorsAre(2)}}};
      std::string expected = "# HELP doors_total Doors.\n# TYPE doors_total counter\ndoors_total 1\n";
      if (first > 0)
         expected += "# HELP lamps Lamps of a room.\n# TYPE lamps gauge\n";
      for (std::size_t room = 0; room < first; ++room)
         expected += "lamps{room=\"" + std::to_string(room) + "\"} " + std::to_string(room) + "\n";
      expected += "# HELP doors_total Doors.\n# TYPE doors_total counter\ndoors_total 2\n";
      ASSERT_EQ(Support::documentText(document), expected) << first;
   }
}

TEST(PiecedMetricsTest, EndsAPieceWithSomeDozenSeries) {
   PiecedMetrics document{{{&lamps, rooms(1000)}}};
   std::size_t pieces = 0;
   for (std::string_view piece = document.next(); !piece.empty(); piece = document.next(), ++pieces)
      EXPECT_LE(countOf(std::string{piece}, "lamps{"), PiecedMetrics::pieceSeries);
   EXPECT_EQ(pieces, (1000 + PiecedMetrics::pieceSeries - 1) / PiecedMetrics::pieceSeries);
}

TEST(PiecedMetricsTest, WritesNoSecondHeadForAFamilyWhoseMembersGoMeanwhile) {
   std::size_t left = PiecedMetrics::pieceSeries;
   PiecedMetrics document{{{&lamps,
                            [&left](MetricSeries & series) {
                               if (left > 0)
                                  series.add({std::to_string(left--)}, 1);
                               return series.size() > 0;
                            }},
                           {&doors, doorsAre(1)}}};
   std::string const text = Support::documentText(document);
   EXPECT_EQ(countOf(text, "# TYPE lamps gauge\n"), 1U) << text;
   EXPECT_TRUE(text.ends_with("# HELP doors_total Doors.\n# TYPE doors_total counter\ndoors_total 1\n"))
       << text;
}

TEST(PiecedMetricsTest, WritesNumbersWithoutLoss) {
   for (auto const & [number, written] : std::vector<std::pair<double, char const *>>{
            {0.09, "0.09"}, {1795196298.5, "1795196298.5"}, {190e12, "190000000000000"}, {-40, "-40"}}) {
      PiecedMetrics document{{{&doors, doorsAre(number)}}};
      EXPECT_TRUE(Support::documentText(document).ends_with("\ndoors_total " + std::string{written} + "\n"))
          << written;
   }
}

// A stream swallows what its buffer raises, unless it is told not to. A cut piece would pass for a whole one.
TEST(PiecedMetricsTest, RaisesWhenThereIsNoMemoryForAPiece) {
   std::string const name(longestLabel, 'x');
   auto const longNames = [&name](MetricSeries & series) {
      series.add({name}, 1);
      return true;
   };
   std::size_t const size = PiecedMetrics{{{&lamps, longNames}}}.next().size();
   PiecedMetrics document{{{&lamps, longNames}}};
   smallestRefused = size / 2;
   EXPECT_THROW(document.next(), std::bad_alloc);
   smallestRefused = SIZE_MAX;
}

}  // namespace
}  // namespace Agent
