// Optional, Errno, EnumType, Seconds, Dir, formatting.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>

#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Dir.h"
#include "runtime/Vorn/EnumType.h"
#include "runtime/Vorn/Errno.h"
#include "runtime/Vorn/Format.h"
#include "runtime/Vorn/Optional.h"
#include "runtime/Vorn/Seconds.h"

namespace {

using Vorn::Optional;

class Colour : public Vorn::EnumType<unsigned char, Colour> {
 public:
   enum Value : unsigned char { red = 1, green = 2 };
   static constexpr Vorn::EnumName<unsigned char> names[] = {{red, "red"}, {green, "green"}};
   using EnumType::EnumType;
};

TEST(SecondsTest, PrintsAsANumberWhenATestFails) {
   EXPECT_EQ(testing::PrintToString(Vorn::Seconds{2.5}), "2.5");
   EXPECT_EQ(testing::PrintToString(Vorn::Seconds::infinity()), "inf");
}

TEST(EnumTypeTest, ReadsTheCharactersOfItsName) {
   std::string_view const text = "a green one";
   char const * const green = text.data() + 2;
   EXPECT_EQ(Colour::sequenceToValue(green, green + 5), Colour{Colour::green});
   EXPECT_EQ((Colour{green, green + 5}), Colour{Colour::green});
   EXPECT_THROW(Colour::sequenceToValue(green, green + 4), std::invalid_argument);
   EXPECT_THROW((Colour{green, green}), std::invalid_argument);
   std::string const withNul{"red\0x", 5};
   EXPECT_THROW(Colour::sequenceToValue(withNul.data(), withNul.data() + 5), std::invalid_argument);
}

class Outline : public Vorn::EnumType<unsigned char, Outline> {
 public:
   enum Value : unsigned char { round = 1, square = 2 };
   static constexpr Vorn::EnumName<unsigned char> names[] = {{round, "round"}, {square, "square"}};
   using EnumType::EnumType;
};

TEST(EnumTypeTest, AcceptsTheValuesOfEveryEnumerationOfOneByte) {
   Vorn::EnumType<unsigned char> any = Colour{Colour::green};
   EXPECT_EQ(any.value(), 2);
   EXPECT_EQ(any.stringValue(), "green");
   EXPECT_EQ(any.instance("red"), Vorn::EnumType<unsigned char>{Colour{Colour::red}});
   EXPECT_FALSE(any.instance("round"));
   EXPECT_FALSE(any.instance(nullptr));
   EXPECT_FALSE(any == Outline{Outline::square}) << "the same byte with another name";
   any = Outline{Outline::square};
   std::ostringstream stream;
   stream << any;
   EXPECT_EQ(stream.str(), "square");
   EXPECT_EQ((Vorn::EnumType<unsigned char>{Outline{9}}.stringValue()), "9");
   static_assert(sizeof(Colour) == 1, "its own class still takes a byte");
}

TEST(EnumTypeTest, ServesAsAKeyOfHashedCollections) {
   std::unordered_map<Colour, int> numbers{{Colour::red, 1}, {Colour::green, 2}};
   EXPECT_EQ(numbers.at(Colour::green), 2);
}

TEST(OptionalTest, HasAValueOrNone) {
   Optional<int> number;
   EXPECT_FALSE(number);
   EXPECT_TRUE(number == std::nullopt);
   number = 7;
   ASSERT_TRUE(number.has_value());
   EXPECT_EQ(*number, 7);
   *number = 8;
   EXPECT_EQ(number.value(), 8);
   EXPECT_TRUE(number == 8);
   EXPECT_TRUE(number == Optional<int>{8});
   number.reset();
   EXPECT_EQ(number.value_or(5), 5);
   EXPECT_FALSE(number == 8);
   EXPECT_TRUE(number == Optional<int>{std::optional<int>{}});
}

TEST(OptionalTest, RaisesItsErrorWhenReadWhileEmpty) {
   Optional<std::string> empty;
   Optional<std::string> const & reading = empty;
   EXPECT_THROW(empty.value(), Vorn::BadOptionalAccess);
   EXPECT_THROW(reading.value(), Vorn::BadOptionalAccess);
   EXPECT_THROW(*empty, Vorn::BadOptionalAccess);
   EXPECT_THROW(*reading, Vorn::BadOptionalAccess);
   EXPECT_THROW(static_cast<void>(empty->size()), Vorn::BadOptionalAccess);
   EXPECT_THROW(static_cast<void>(reading->size()), Vorn::BadOptionalAccess);
   EXPECT_THROW(*Optional<std::string>{}, Vorn::BadOptionalAccess);
   EXPECT_STREQ(Vorn::BadOptionalAccess{}.what(), "an optional value was read while empty");
}

TEST(OptionalTest, GivesItsValueAway) {
   Optional<std::string> text{"abc"};
   EXPECT_EQ(text->size(), 3U);
   std::string const taken = *std::move(text);
   EXPECT_EQ(taken, "abc");
   Optional<std::string> another;
   another.emplace("d");
   EXPECT_EQ(*another, "d");
}

TEST(ErrnoTest, DescribesTheAttemptAndTheReason) {
   Vorn::Errno const error{ENOENT, "open /dev/x"};
   EXPECT_EQ(error.number(), ENOENT);
   EXPECT_EQ(error.context(), "open /dev/x");
   EXPECT_EQ(error.stringValue(), "open /dev/x: No such file or directory (errno 2)");
   std::ostringstream stream;
   stream << error;
   EXPECT_EQ(stream.str(), error.stringValue().str());
   EXPECT_EQ((Vorn::Errno{0, nullptr}.context()), "");
}

TEST(EnumTypeTest, NamesItsValuesAndFindsThemByName) {
   EXPECT_EQ(Colour{Colour::green}.stringValue(), "green");
   EXPECT_EQ(*Colour::instance("red"), Colour::red);
   EXPECT_FALSE(Colour::instance("blue"));
   EXPECT_FALSE(Colour::instance("re"));
   EXPECT_FALSE(Colour::instance(nullptr));
   std::ostringstream stream;
   stream << Colour{Colour::red};
   EXPECT_EQ(stream.str(), "red");
   static_assert(sizeof(Colour) == 1);
}

TEST(EnumTypeTest, ReadsAValueWithoutANameAsItsNumber) {
   EXPECT_EQ(Colour{200}.stringValue(), "200");
   EXPECT_EQ(Colour{}.value(), 0);
   EXPECT_TRUE(Colour{Colour::red} == Colour::red);
   EXPECT_TRUE(Colour{Colour::red} != Colour{Colour::green});
   Vorn::EnumType<unsigned char> const red = Colour{Colour::red};
   Vorn::EnumType<unsigned char> const green = Colour{Colour::green};
   EXPECT_FALSE(red == green);
   EXPECT_TRUE(red == Vorn::EnumType<unsigned char>{Colour{Colour::red}});
}

TEST(FormatTest, AcceptsPrintfFormatsAndTextsOfAnyLength) {
   EXPECT_EQ(Vorn::_fmt("%s is at %d%%, %08x", "disk", 95, 0xbeefU), "disk is at 95%, 0000beef");
   std::string const longText(100000, 'x');
   EXPECT_EQ(Vorn::_fmt("<%s>", longText.c_str()), '<' + longText + '>');
   EXPECT_EQ(Vorn::_fmt("%s", ""), "");
}

TEST(FormatTest, WritesNumbersInFull) {
   EXPECT_EQ(Vorn::valueToString(-2147483647 - 1), "-2147483648");
   EXPECT_EQ(Vorn::valueToString(4294967295U), "4294967295");
   EXPECT_EQ(Vorn::valueToString(INT64_MIN), "-9223372036854775808");
   EXPECT_EQ(Vorn::valueToString(UINT64_MAX), "18446744073709551615");
   EXPECT_EQ(Vorn::valueToString(0.1), "0.1");
   EXPECT_EQ(Vorn::valueToString(300.0), "300");
   EXPECT_EQ(Vorn::valueToString(-1e300), "-1e+300");
}

TEST(DirLookupTest, AnswersItsChildrenByName) {
   auto const dir = Pelm::make<Vorn::Dir>();
   auto const child = Pelm::make<Vorn::Dir>();
   EXPECT_FALSE(dir->entityPtr("config"));
   dir->entityIs("config", child);
   EXPECT_TRUE(dir->entityPtr("config") == child);
   EXPECT_FALSE(dir->entityPtr("confi"));
   dir->entityDel("config");
   EXPECT_FALSE(dir->entityPtr("config"));
   EXPECT_EQ(child->useCount(), 1U);
}

}  // namespace
