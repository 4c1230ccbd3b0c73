// The reader of stat lines beside the regular expression that defines a stat line.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "NaiveHealth.h"
#include "StorageDevices/BlockStat.h"
#include "tests/support/RandomSeed.h"
#include "tests/support/Regex.h"

namespace StorageDevices {
namespace {

#ifdef STORAGEDEVICES_SANITIZED
constexpr int lineRuns = 10'000;
#else
constexpr int lineRuns = 100'000;
#endif

std::optional<BlockStat> statByRegex(std::string const & line) {
   static Support::Regex const pattern(R"(\d+\s+\d+\s+(\d+)\s+\d+\s+\d+\s+\d+\s+(\d+))");
   auto const match = pattern.search(line);
   if (match.empty())
      return std::nullopt;
   auto const read = NaiveHealth::naiveCount(std::string{match[1]});
   auto const written = NaiveHealth::naiveCount(std::string{match[2]});
   if (!read || !written)
      return std::nullopt;
   return BlockStat{*read, *written};
}

class LineMaker {
 public:
   explicit LineMaker(std::uint32_t seed) : random_{seed} {}

   // Five to nine numbers, now and then with something between them that ends the row.
   std::string line() {
      std::string text = oneIn(2) ? space() : "";
      for (unsigned count = 5 + below(5); count > 0; --count)
         text += number() + (oneIn(20) ? noise() : space());
      return text;
   }

 private:
   unsigned below(unsigned bound) { return static_cast<unsigned>(random_() % bound); }
   bool oneIn(unsigned bound) { return below(bound) == 0; }

   std::string number() {
      static char const * const large[] = {"18446744073709551615", "18446744073709551616",
                                           "00000000000000000000001", "4294967296", "99999999999999999999"};
      return oneIn(25) ? large[below(5)] : std::to_string(below(oneIn(3) ? 100'000 : 10));
   }

   std::string space() {
      static char const * const spaces[] = {" ", " ", " ", "  ", "\t", "\v", "\f", "\r", "\n"};
      return spaces[below(9)];
   }

   std::string noise() {
      static std::string const noises[] = {
          "x", "-", ".", ",", "", " - ", " x", "- ", "\x80", "\xa0", "\x85", std::string(1, '\0'), "/ "};
      return noises[below(13)];
   }

   std::mt19937 random_;
};

TEST(BlockStatOracleTest, MatchesTheRegularExpressionOnRandomLines) {
   LineMaker maker(Support::randomSeed(20240614));
   int found = 0;
   for (int i = 0; i < lineRuns; ++i) {
      std::string const line = maker.line();
      auto const expected = statByRegex(line);
      ASSERT_EQ(readBlockStat(line), expected) << "line " << i << ": " << testing::PrintToString(line);
      found += expected ? 1 : 0;
   }
   EXPECT_GT(found, lineRuns / 5);
   EXPECT_LT(found, lineRuns - lineRuns / 5);
}

// A line cut off or damaged at every place.
TEST(BlockStatOracleTest, MatchesTheRegularExpressionOnADamagedLine) {
   std::string const whole = "  12 0 345  6 7 8\t90 1 2";
   for (std::size_t at = 0; at < whole.size(); ++at) {
      for (char const c : {' ', '\n', '1', 'x', '-', '\0', '\xa0'}) {
         std::string changed = whole;
         changed[at] = c;
         std::string inserted = whole;
         inserted.insert(at, 1, c);
         for (auto const & line : {changed, inserted, whole.substr(at), whole.substr(0, at)})
            ASSERT_EQ(readBlockStat(line), statByRegex(line)) << testing::PrintToString(line);
      }
   }
}

}  // namespace
}  // namespace StorageDevices
