#include "nvme-compat/WholeNumber.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace NvmeCompat {
namespace {

using Cases = std::vector<std::pair<std::string, std::int64_t>>;
constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();

TEST(WholeNumberTest, ReadsNumbersOfJson) {
   for (auto const & [text, number] : Cases{{"0", 0},
                                            {"18", 18},
                                            {"310.0", 310},
                                            {"9.99", 9},
                                            {"0.5", 0},
                                            {"1.5e8", 150000000},
                                            {"1.5E+8", 150000000},
                                            {"12e0", 12},
                                            {"1200e-2", 12},
                                            {"1e-30", 0},
                                            {"0e999999999999", 0},
                                            {"9223372036854775806", largest - 1},
                                            {"9223372036854775807", largest},
                                            {"9223372036854775808", largest},
                                            {"340282366920938463463374607431768211455", largest},
                                            {"1e40", largest},
                                            {"1e99999999999999999999", largest},
                                            {"1e-99999999999999999999", 0}})
      EXPECT_EQ(truncatedJsonNumber(text), number) << text;
}

TEST(WholeNumberTest, RefusesNumbersBelowZeroAndTextsThatAreNone) {
   for (std::string const text :
        {"-1", "-0.5", "", ".", "e", "x", "1e", "1e+", "1e5x", "1x5", "0Error", "1.2.3"})
      EXPECT_EQ(truncatedJsonNumber(text), std::nullopt) << text;
}

TEST(WholeNumberTest, ReadsQuotedNumbersOfAllVersionsAndLocales) {
   for (auto const & [text, number] : Cases{{"3", 3},
                                            {"0", 0},
                                            {"3.000000", 3},
                                            {"3,000000", 3},
                                            {"1234567.000000", 1234567},
                                            {"1,234,567", 1234567},
                                            {"1.234.567", 1234567},
                                            {"1 234 567", 1234567},
                                            {"1'234'567", 1234567},
                                            {"1\u00A0234\u00A0567", 1234567},
                                            {"1\u202F234\u202F567", 1234567},
                                            {"1\u2009234\u2009567", 1234567},
                                            {"1\u2019234\u2019567", 1234567},
                                            {"1\u202F2\u202F3\u202F4\u202F567", 1234567},
                                            {"1,234,567.000000", 1234567},
                                            {"1.234.567,000000", 1234567},
                                            {"1 234,500000", 1234},
                                            {"340,282,366,920,938,463,463,374,607,431,768,211,455", largest},
                                            {"340282366920938463463374607431768211455.000000", largest}})
      EXPECT_EQ(truncatedQuotedNumber(text), number) << text;
}

TEST(WholeNumberTest, ReadsOneMarkAndThreeDigitsAsThousandsWherePossible) {
   for (auto const & [text, number] : Cases{{"1,234", 1234},
                                            {"1.234", 1234},
                                            {"123.456", 123456},
                                            {"1234.567", 1234},
                                            {"1 234.567", 1234},
                                            {"0.123", 0},
                                            {"012.345", 12},
                                            {"1,23", 1},
                                            {"1,2345", 1}})
      EXPECT_EQ(truncatedQuotedNumber(text), number) << text;
}

TEST(WholeNumberTest, RefusesQuotedTextThatIsNoNumber) {
   for (std::string const text :
        {"",        " ",   ".",      ",",       "1.",    ".5",    "-3",       "+3",
         "0x10",    "3 C", "1  234", " 1",      "1 ",    "1.2.3", "1,23,456", "1,234.567.890",
         "1,2.3,4", "1e5", "1\xC2",  "\u00A01", "1_000", "n/a",   "1,,234",   "1, 234"})
      EXPECT_EQ(truncatedQuotedNumber(text), std::nullopt) << text;
}

TEST(WholeNumberTest, ReadsMillionsOfDigitsQuickly) {
   std::string const digits(std::size_t{4} << 20U, '7');
   EXPECT_EQ(truncatedJsonNumber(digits), largest);
   EXPECT_EQ(truncatedQuotedNumber(digits), largest);
   EXPECT_EQ(truncatedQuotedNumber("1." + digits), 1);
}

}  // namespace
}  // namespace NvmeCompat
