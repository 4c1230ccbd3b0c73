#include "command/ServedHistory.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace Command {
namespace {

using Readings = std::vector<Reading>;
constexpr std::nullopt_t none = std::nullopt;

TEST(ServedHistoryTest, HasAListOfReadingsPerFigure) {
   auto const history = servedHistory(
       R"({"time": [100, 160.5], "temperature": [34.1, null], "lifeLeft": [93, 92],
           "readBytesPerSecond": [0, 1e6], "writtenBytesPerSecond": [null, 7], "more": 1})");
   EXPECT_EQ(history.times, (std::vector<double>{100, 160.5}));
   EXPECT_EQ(history.temperature, (Readings{34.1, none}));
   EXPECT_EQ(history.lifeLeft, (Readings{93, 92}));
   EXPECT_EQ(history.readPerSecond, (Readings{0, 1e6}));
   EXPECT_EQ(history.writtenPerSecond, (Readings{none, 7}));
}

TEST(ServedHistoryTest, TakesWhatIsNoReadingForNone) {
   auto const history = servedHistory(
       R"({"time": [1, 2, 3], "temperature": ["hot", 1e15, -1e300], "lifeLeft": [5], "readBytesPerSecond": {},
           "writtenBytesPerSecond": [1, 2, 3, 4]})");
   EXPECT_EQ(history.temperature, (Readings{none, none, none}));
   EXPECT_EQ(history.lifeLeft, (Readings{5, none, none}));
   EXPECT_EQ(history.readPerSecond, (Readings{none, none, none}));
   EXPECT_EQ(history.writtenPerSecond, (Readings{1, 2, 3}));
}

TEST(ServedHistoryTest, RefusesADocumentWithoutAscendingTimes) {
   for (std::string const document : {"{}", "[]", "7", R"({"time": 5})", R"({"time": [2, 1]})",
                                      R"({"time": [1, 1]})", R"({"time": [1, null]})", R"({"time": ["1"]})"})
      try {
         servedHistory(document);
         ADD_FAILURE() << document;
      } catch (std::runtime_error const & error) {
         EXPECT_STREQ(error.what(),
                      "the agent's answer is no history: is it of the same version as this program?");
      }
   EXPECT_THROW(servedHistory("{"), std::runtime_error);
   EXPECT_TRUE(servedHistory(R"({"time": []})").temperature.empty());
}

class InColumnsTest : public testing::Test {
 protected:
   // A reading a minute from the first second on, in columns from 0 to `seconds`.
   Readings columns(Readings const & readings, double seconds, std::size_t count,
                    Pick pick = Pick::last) const {
      std::vector<double> times;
      for (std::size_t at = 0; at < readings.size(); ++at)
         times.push_back(first + 60 * static_cast<double>(at));
      return inColumns(times, readings, {0, seconds}, count, pick);
   }
   double first = 0;
};

TEST_F(InColumnsTest, PicksAReadingOfEachColumn) {
   Readings const readings{1, 5, none, 3, 4, none};
   EXPECT_EQ(columns(readings, 360, 2, Pick::last), (Readings{5, 4}));
   EXPECT_EQ(columns(readings, 360, 2, Pick::highest), (Readings{5, 4}));
   EXPECT_EQ(columns({5, 1, 2, 3}, 240, 2, Pick::highest), (Readings{5, 3}));
   EXPECT_EQ(columns(readings, 360, 2, Pick::mean), (Readings{3, 3.5}));
}

TEST_F(InColumnsTest, LeavesColumnsEmptyWhereNothingWasRead) {
   EXPECT_EQ(columns({1, 2, none, none, 5, 6}, 360, 3), (Readings{2, none, 6}));
   // Nor does a column between two moments without a reading have one.
   EXPECT_EQ(columns({1, none, none, 4}, 240, 8), (Readings{1, none, none, none, none, 4, 4, 4}));
   EXPECT_EQ(columns({}, 60, 2), (Readings{none, none}));
}

TEST_F(InColumnsTest, FillsColumnsThatAreShorterThanTheInterval) {
   EXPECT_EQ(columns({1, 2, 3}, 180, 9), (Readings{1, 2, 2, 2, 3, 3, 3, 3, 3}));
}

TEST_F(InColumnsTest, LeavesTheTimesWithoutMomentsEmpty) {
   first = 600;
   EXPECT_EQ(columns({1, 2, 3}, 1200, 10), (Readings{none, none, none, none, 1, 2, 3, none, none, none}));
   EXPECT_EQ(inColumns(std::vector<double>{0, 60, 120, 600, 660}, Readings{1, 2, 3, 4, 5}, {0, 660}, 11,
                       Pick::last),
             (Readings{1, 2, 3, none, none, none, none, none, none, 4, 5}));
}

TEST_F(InColumnsTest, HasTheEndOfTheWindowInItsLastColumn) {
   EXPECT_EQ(columns({1, 2}, 60, 1), Readings{2});
   EXPECT_EQ(inColumns(std::vector<double>{-60, 0, 60, 120}, Readings{9, 1, 2, 9}, {0, 60}, 1, Pick::highest),
             Readings{2});
}

}  // namespace
}  // namespace Command
