#include "runtime/Vorn/ValueRecord.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

namespace {

struct Entry : public Vorn::ValueRecord<Entry> {
   Pelm::String pattern;
   Pelm::String mount;
   static constexpr char const * recordName = "Entry";
   static constexpr auto recordFields() {
      return std::tuple{Vorn::recordField("pattern", &Entry::pattern),
                        Vorn::recordField("mount", &Entry::mount)};
   }
};

// Fields of every kind, some behind accessors, one of which keeps only a part of what it is given.
class Register : public Vorn::ValueRecord<Register> {
 public:
   std::uint8_t byte = 0;
   std::uint64_t wide = 0;
   bool flag = false;
   Pelm::String const & label() const { return label_; }
   void labelIs(Pelm::String value) { label_ = std::move(value); }
   std::uint32_t low() const { return low_; }
   void lowIs(std::uint32_t value) { low_ = value & 0xFFFFU; }

   static constexpr char const * recordName = "Register";
   static constexpr auto recordFields() {
      return std::tuple{Vorn::recordField("byte", &Register::byte),
                        Vorn::recordField("wide", &Register::wide),
                        Vorn::recordField("flag", &Register::flag),
                        Vorn::recordField("label", &Register::label, &Register::labelIs),
                        Vorn::recordField("low", &Register::low, &Register::lowIs)};
   }

 private:
   Pelm::String label_;
   std::uint32_t low_ = 0;
};

struct Nothing : public Vorn::ValueRecord<Nothing> {
   static constexpr char const * recordName = "Nothing";
   static constexpr auto recordFields() { return std::tuple{}; }
};

Entry entry(std::string_view pattern, std::string_view mount) {
   Entry result;
   result.pattern = pattern;
   result.mount = mount;
   return result;
}

TEST(ValueRecordTest, ComparesEqualWhenAllItsFieldsAre) {
   EXPECT_TRUE(entry("a", "b").isEq(entry("a", "b")));
   EXPECT_FALSE(entry("a", "b").isEq(entry("a", "c")));
   EXPECT_FALSE(entry("", "ab").isEq(entry("a", "b")));
   EXPECT_TRUE(entry("a", "b") == entry("a", "b"));
   EXPECT_TRUE(entry("a", "b") != entry("b", "b"));
   EXPECT_TRUE(Nothing{} == Nothing{});
   static_assert(sizeof(Entry) == 2 * sizeof(Pelm::String), "the base must cost nothing");
}

TEST(ValueRecordTest, WritesATextWithPrefixSeparatorsAndPostfix) {
   EXPECT_EQ(entry("/sys/.*", "flash").stringValue(), R"(Entry(pattern="/sys/.*", mount="flash"))");
   Register record;
   record.byte = 255;
   record.wide = std::numeric_limits<std::uint64_t>::max();
   record.flag = true;
   record.labelIs("a\"b\\\n");
   record.lowIs(7);
   std::ostringstream stream;
   stream << record;
   EXPECT_EQ(stream.str(),
             R"(Register(byte=255, wide=18446744073709551615, flag=true, label="a\"b\\\x0a", low=7))");
   EXPECT_EQ(Nothing{}.stringValue(), "Nothing()");
}

TEST(ValueRecordTest, ReadsItsTextBack) {
   auto const read = Entry::instance(R"(Entry(pattern="/sys/\"x\\", mount=""))");
   ASSERT_TRUE(read);
   EXPECT_EQ(read->pattern, R"(/sys/"x\)");
   EXPECT_EQ(read->mount, "");
   auto const record = Register::instance(R"(Register(byte=1, wide=2, flag=false, label="\x00", low=3))");
   ASSERT_TRUE(record);
   EXPECT_EQ(record->byte, 1);
   EXPECT_EQ(record->wide, 2U);
   EXPECT_FALSE(record->flag);
   EXPECT_EQ(record->label(), std::string(1, '\0'));
   EXPECT_EQ(record->low(), 3U);
   EXPECT_TRUE(Nothing::instance("Nothing()"));
}

TEST(ValueRecordTest, ReadsTextsBackThatLookLikeItsOwnPunctuation) {
   for (char const * const hard :
        {R"(", mount=")", R"(\)", R"(\\")", "(", ")", R"(Entry(pattern="a", mount="b"))", "\x7f\x01\t\r\n",
         "\xff\xc3\xa9", R"(\x00)", R"(\x)"}) {
      Entry const original = entry(hard, hard);
      auto const read = Entry::instance(original.stringValue().view());
      ASSERT_TRUE(read) << hard;
      EXPECT_TRUE(*read == original) << hard;
   }
}

TEST(ValueRecordTest, ReadsRandomBytesBack) {
   std::mt19937 random{7};
   for (int round = 0; round < 2000; ++round) {
      std::string bytes(random() % 20, '\0');
      for (char & byte : bytes)
         byte = static_cast<char>(random());
      Entry const original = entry(bytes, bytes);
      auto const read = Entry::instance(original.stringValue().view());
      ASSERT_TRUE(read);
      ASSERT_TRUE(*read == original);
   }
}

TEST(ValueRecordTest, RefusesEveryOtherText) {
   for (char const * const wrong :
        {"", "Entry", "Entry(", "Entry()", R"(Entry(pattern="a"))", R"(entry(pattern="a", mount="b"))",
         R"(Entry(pattern="a", mount="b") )", R"( Entry(pattern="a", mount="b"))",
         R"(Entry(pattern="a",mount="b"))", R"(Entry(mount="b", pattern="a"))",
         R"(Entry(pattern="a", mount="b)", R"(Entry(pattern="a", mount="b\)",
         R"(Entry(pattern="a", mount="b\x")", R"(Entry(pattern="\xg0", mount="b"))",
         R"(Entry(pattern="\x41", mount="b"))", R"(Entry(pattern="\a", mount="b"))",
         "Entry(pattern=\"\n\", mount=\"b\")", R"(Entry(pattern=a, mount=b))",
         R"(Entry(pattern="\x0A", mount="b"))"})
      EXPECT_FALSE(Entry::instance(wrong)) << wrong;
}

TEST(ValueRecordTest, RefusesNumbersThatDoNotFitOrAreWrittenOtherwise) {
   for (char const * const numbers :
        {"byte=256, wide=2, flag=true", "byte=01, wide=2, flag=true", "byte=-1, wide=2, flag=true",
         "byte=+1, wide=2, flag=true", "byte=, wide=2, flag=true",
         "byte=1, wide=18446744073709551616, flag=true", "byte=1, wide=2, flag=yes", "byte=1, wide=2, flag=1",
         "byte= 1, wide=2, flag=true"})
      EXPECT_FALSE(Register::instance(std::string{"Register("} + numbers + R"(, label="", low=3))"))
          << numbers;
   EXPECT_FALSE(Register::instance(R"(Register(byte=1, wide=2, flag=true, label="", low=65536))"))
       << "a value that the field does not keep";
}

TEST(ValueRecordTest, WritesOneTextPerRecordWhateverIsCutOrChanged) {
   std::mt19937 random{11};
   std::string const whole = entry("a\"\\\n", "b").stringValue().str();
   for (int round = 0; round < 5000; ++round) {
      std::string text = whole;
      text[random() % text.size()] = static_cast<char>(random());
      if (round % 3 == 0)
         text.resize(random() % text.size());
      auto const read = Entry::instance(text);
      ASSERT_TRUE(!read || read->stringValue() == text) << text;
   }
}

}  // namespace
