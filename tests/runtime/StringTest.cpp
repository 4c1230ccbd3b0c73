#include "runtime/Pelm/String.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_set>

#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/Seconds.h"
#include "tests/support/ChangeRecorder.h"

namespace {

using Pelm::String;
using namespace std::string_view_literals;

TEST(StringTest, IsMadeAndAssignedFromTextsOfAnyKind) {
   EXPECT_EQ(String{"disk"}.view(), "disk");
   EXPECT_EQ(String{"disk"sv}.size(), 4U);
   EXPECT_TRUE(String{static_cast<char const *>(nullptr)}.empty());
   String text;
   EXPECT_TRUE(text.empty());
   text = "from a literal";
   EXPECT_EQ(text, "from a literal");
   text = "from a view"sv;
   EXPECT_EQ(text, "from a view"sv);
   text = std::string{"from a string"};
   EXPECT_EQ(text, std::string{"from a string"});
   static_assert(std::is_same_v<Vorn::String, String>);
}

TEST(StringTest, GrowsAtBothEndsAndLosesARange) {
   String text{"sda"};
   text.append("1"sv);
   text.addLeft("/dev/");
   EXPECT_EQ(text, "/dev/sda1");
   text.erase(text.begin() + 4, text.end() - 1);
   EXPECT_EQ(text, "/dev1");
   text.erase(text.begin(), text.begin());
   EXPECT_EQ(text, "/dev1");
   text.erase(text.begin(), text.end());
   EXPECT_TRUE(text.empty());
}

TEST(StringTest, CopiesIndependentValues) {
   String const original{"ata1"};
   String copy = original;
   copy.append("x");
   EXPECT_EQ(original, "ata1");
   EXPECT_EQ(copy, "ata1x");
}

TEST(StringTest, StoresAnyBytesAndComparesThemAll) {
   String const withNul{"a\0b"sv};
   EXPECT_EQ(withNul.size(), 3U);
   EXPECT_FALSE(withNul == "a");
   EXPECT_FALSE(withNul == String{"a\0c"sv});
   EXPECT_EQ(withNul, "a\0b"sv);
   EXPECT_EQ(withNul.data()[3], '\0');
   std::ostringstream stream;
   stream << withNul;
   EXPECT_EQ(stream.str(), std::string("a\0b", 3));
}

TEST(StringTest, ComparesByteWiseInThreeWays) {
   EXPECT_LT(String{"ata1"}.compare("ata2"), 0);
   EXPECT_GT(String{"b"}.compare("abc"), 0);
   EXPECT_EQ(String{"b"}.compare("b"), 0);
   EXPECT_LT(String{"a"}.compare("\x80"), 0) << "bytes are unsigned";
   EXPECT_TRUE(String{"a"} < String{"b"});
   EXPECT_TRUE(String{} == static_cast<char const *>(nullptr));
}

TEST(StringTest, KnowsItsPrefix) {
   EXPECT_TRUE(String{"nvme0n1"}.startsWith("nvme"));
   EXPECT_TRUE(String{"nvme"}.startsWith(""));
   EXPECT_FALSE(String{"nv"}.startsWith("nvme"));
   EXPECT_FALSE(String{"xnvme"}.startsWith("nvme"));
}

TEST(StringTest, ServesAsAnOptionalText) {
   String text{"value"};
   EXPECT_TRUE(text.optionalHasValue());
   text.optionalClearValue();
   EXPECT_FALSE(text.optionalHasValue());
   EXPECT_TRUE(text.empty());
   text.append("again");
   EXPECT_TRUE(text.optionalHasValue()) << "what is put into it is a value";
   text.optionalClearValue();
   text.addLeft("again");
   EXPECT_TRUE(text.optionalHasValue());
   text.optionalClearValue();
   text = "";
   EXPECT_TRUE(text.optionalHasValue()) << "an empty text is a value";
}

TEST(StringTest, DiffersFromEveryTextWhenCleared) {
   String cleared;
   cleared.optionalClearValue();
   String alsoCleared{"text"};
   alsoCleared.optionalClearValue();
   EXPECT_EQ(cleared, alsoCleared);
   EXPECT_FALSE(cleared == String{});
   EXPECT_FALSE(cleared == "");
   EXPECT_FALSE(cleared == ""sv);
   EXPECT_FALSE(cleared == std::string{});
   EXPECT_EQ(cleared.compare(alsoCleared), 0);
   EXPECT_LT(cleared.compare(String{}), 0);
   EXPECT_GT(String{}.compare(cleared), 0);
   EXPECT_TRUE(cleared < String{} && String{} < String{"a"});
   EXPECT_EQ((std::unordered_set<String>{cleared, String{}, alsoCleared}).size(), 2U);
}

class Label : public Pelm::Node {
 public:
   Vorn::Attribute<String, Label> text{*this, "text"};
   void textIs(String value) { text.valueIs(std::move(value)); }
};

TEST(StringTest, ReportsTheClearingOfAnEmptyAttributeAsAChange) {
   auto const label = Pelm::make<Label>();
   Support::ChangeRecorder const changes{label->text};
   String cleared;
   cleared.optionalClearValue();
   label->textIs(cleared);
   EXPECT_EQ(changes.count(), 1U);
   label->textIs(cleared);
   EXPECT_EQ(changes.count(), 1U);
   label->textIs("");
   EXPECT_EQ(changes.count(), 2U);
   EXPECT_TRUE(label->text().optionalHasValue());
}

TEST(StringTest, IsFoundInHashedSetsByValue) {
   std::unordered_set<String> const set{String{"a"}, String{"b"}, String{"a"}};
   EXPECT_EQ(set.size(), 2U);
   EXPECT_TRUE(set.contains("b"));
   EXPECT_EQ(Pelm::StringHash{}("b"sv), Pelm::StringHash{}(String{"b"}));
}

TEST(StringDeathTest, RefusesARangeThatIsNotItsOwn) {
   testing::FLAGS_gtest_death_test_style = "threadsafe";
   String text{"abc"};
   EXPECT_DEATH(text.erase(text.end(), text.begin()), "first <= last");
}

TEST(SecondsTest, CalculatesLikeANumber) {
   Vorn::Seconds span = 1.5;
   span += 0.5;
   span -= 1.0;
   EXPECT_EQ(span, Vorn::Seconds{1});
   EXPECT_EQ((span + 2.0) * 3.0 / 2.0 - 0.5, Vorn::Seconds{4});
   EXPECT_LT(span, Vorn::Seconds::infinity());
   EXPECT_EQ(Vorn::Seconds{}.value(), 0.0);
   Vorn::Seconds const notANumber = std::numeric_limits<double>::quiet_NaN();
   EXPECT_FALSE(notANumber < 0.0 || notANumber >= 0.0) << "not a number is in no order";
}

}  // namespace
