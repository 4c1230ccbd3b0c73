#include "base/Text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

namespace Base {
namespace {

TEST(EscapedTest, LeavesOrdinaryTextAlone) {
   EXPECT_EQ(escaped(""), "");
   EXPECT_EQ(escaped("Samsung SSD 860 EVO"), "Samsung SSD 860 EVO");
   EXPECT_EQ(escaped("Größe 東京 🙂 C:\\x"), "Größe 東京 🙂 C:\\x");
}

TEST(EscapedTest, EscapesTerminalControls) {
   EXPECT_EQ(escaped("\x1b[2J"), "\\x1b[2J");
   EXPECT_EQ(escaped("a\nb\rc\td\x7f"), "a\\nb\\rc\\td\\x7f");
   EXPECT_EQ(escaped(std::string_view{"a\0b", 3}), "a\\x00b");
   EXPECT_EQ(escaped("\xc2\x9b"
                     "31m"),
             "\\u009b31m");
}

TEST(EscapedTest, EscapesLineSeparatorsAndBidirectionalControls) {
   std::string const lead = "\xe2";  // apart, since a literal must not contain such controls
   EXPECT_EQ(escaped(lead + "\x80\xae" + "gpj.exe"), "\\u202egpj.exe");
   EXPECT_EQ(escaped(lead + "\x80\xa8" + lead + "\x81\xa6"), "\\u2028\\u2066");
   EXPECT_EQ(escaped(lead + "\x80\x8f"), "\\u200f");
}

// The character in UTF-8, which a literal must not contain here.
std::string utf8(char32_t point) {
   auto const tail = [point](unsigned shift) {
      return static_cast<char>(0x80U | ((point >> shift) & 0x3fU));
   };
   if (point < 0x800)
      return {static_cast<char>(0xc0U | (point >> 6U)), tail(0)};
   if (point < 0x10000)
      return {static_cast<char>(0xe0U | (point >> 12U)), tail(6), tail(0)};
   return {static_cast<char>(0xf0U | (point >> 18U)), tail(12), tail(6), tail(0)};
}

TEST(EscapedTest, EscapesCharactersThatReverseTheWritingDirection) {
   for (char32_t const point :
        {0x61c, 0x200e, 0x200f, 0x202a, 0x202b, 0x202c, 0x202d, 0x202e, 0x2066, 0x2067, 0x2068, 0x2069})
      EXPECT_EQ(escaped(utf8(point)).substr(0, 2), "\\u") << std::hex << static_cast<unsigned>(point);
   EXPECT_EQ(escaped(utf8(0x61c)), "\\u061c");
}

TEST(EscapedTest, EscapesInvisibleCharacters) {
   for (char32_t const point : {0xad, 0x34f, 0x180e, 0x200b, 0x200c, 0x200d, 0x2060, 0x2064, 0x206a, 0x206f,
                                0x2028, 0x2029, 0x3164, 0xfe0f, 0xfeff, 0xfff9, 0xfffb})
      EXPECT_EQ(escaped(utf8(point)).substr(0, 2), "\\u") << std::hex << static_cast<unsigned>(point);
   EXPECT_EQ(escaped(utf8(0xe0001)), "\\U000e0001");
   EXPECT_EQ(escaped(utf8(0xe0fff) + utf8(0xe1000)), "\\U000e0fff" + utf8(0xe1000));
}

TEST(EscapedTest, EscapesEveryByteThatIsNoUtf8) {
   EXPECT_EQ(escaped("a\xff"
                     "b"),
             "a\\xffb");
   EXPECT_EQ(escaped("\xc3"), "\\xc3");
   EXPECT_EQ(escaped("\xe2\x82"
                     "x"),
             "\\xe2\\x82x");
   EXPECT_EQ(escaped("\xc0\xaf"), "\\xc0\\xaf");
   EXPECT_EQ(escaped("\xed\xa0\x80"), "\\xed\\xa0\\x80");
   EXPECT_EQ(escaped("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");
}

TEST(EscapedTest, LeavesEscapedTextAlone) {
   std::string all;
   for (int byte = 0; byte < 256; ++byte)
      all += static_cast<char>(byte);
   std::string const once = escaped(all);
   EXPECT_EQ(escaped(once), once);
   for (char const c : once)
      EXPECT_TRUE(c >= 0x20 && c < 0x7f) << static_cast<int>(c);
}

TEST(ValidUtf8Test, LeavesWellFormedTextAlone) {
   for (char const * const text :
        {"", "plain é 東 🙂\n", "C:\\x", "\\", "\\x", "\\xf", "\\xFF", "\\x0g", "\\n"})
      EXPECT_EQ(validUtf8(text), text);
}

TEST(ValidUtf8Test, EscapesEveryByteOfAnIllFormedSequence) {
   EXPECT_EQ(validUtf8("a\xff"
                       "b"),
             "a\\xffb");
   EXPECT_EQ(validUtf8("\xe2\x82"), "\\xe2\\x82");
   EXPECT_EQ(validUtf8("\xf0\x9f\x99"
                       "x"),
             "\\xf0\\x9f\\x99x");
   EXPECT_EQ(validUtf8("\xc0\xaf"), "\\xc0\\xaf");
   EXPECT_EQ(validUtf8("\xed\xa0\x80"), "\\xed\\xa0\\x80");
}

// The text again, by the rule that the header gives.
std::string bytesOf(std::string const & valid) {
   std::string bytes;
   for (std::size_t at = 0; at < valid.size(); ++at) {
      std::string const digits = valid.substr(at, 2) == "\\x" ? valid.substr(at + 2, 2) : "";
      bool const escapedByte =
          digits.size() == 2 && digits.find_first_not_of("0123456789abcdef") == std::string::npos;
      bytes += escapedByte ? static_cast<char>(std::stoi(digits, nullptr, 16)) : valid[at];
      at += escapedByte ? 3 : 0;
   }
   return bytes;
}

TEST(ValidUtf8Test, IsReversibleWhateverTheBytes) {
   std::mt19937 random{7};  // NOLINT(cert-msc51-cpp): the same texts each time
   std::string const letters = "\\\\xx5cf0\xff\xc3\xa9\xe2\x80";
   for (int round = 0; round < 20000; ++round) {
      std::string text;
      for (unsigned left = random() % 10; left > 0; --left)
         text += letters[random() % letters.size()];
      ASSERT_EQ(bytesOf(validUtf8(text)), text) << validUtf8(text);
   }
}

TEST(ValidUtf8Test, IsShownLikeTheTextItselfOnATerminal) {
   EXPECT_EQ(escaped(validUtf8("SN\xff\x80")), "SN\\xff\\x80");
   EXPECT_EQ(escaped("SN\xff\x80"), "SN\\xff\\x80");
}

TEST(DisplayWidthTest, CountsTerminalCells) {
   EXPECT_EQ(displayWidth(""), 0U);
   EXPECT_EQ(displayWidth("37 °C"), 5U);
   EXPECT_EQ(displayWidth("e\xcc\x81"), 1U);
   EXPECT_EQ(displayWidth("東京"), 4U);
   EXPECT_EQ(displayWidth("\u0e14\u0e35"), 1U);  // a Thai consonant and its vowel above
   EXPECT_EQ(displayWidth("\u26a1"), 2U);
   EXPECT_EQ(displayWidth("\xff"), 1U);
}

TEST(CutToWidthTest, MarksTheCut) {
   EXPECT_EQ(cutToWidth("abcdef", 6), "abcdef");
   EXPECT_EQ(cutToWidth("abcdef", 5), "abcd…");
   EXPECT_EQ(cutToWidth("abcdef", 1), "…");
   EXPECT_EQ(cutToWidth("abcdef", 0), "");
   EXPECT_EQ(cutToWidth("東京都", 4), "東…");
   EXPECT_EQ(cutToWidth("ééé", 2), "é…");
}

TEST(UtcTimeTest, IsRfc3339WithMilliseconds) {
   EXPECT_EQ(utcTime(0), "1970-01-01T00:00:00.000Z");
   EXPECT_EQ(utcTime(1795196298.5), "2026-11-20T17:38:18.500Z");
   EXPECT_EQ(utcTime(1.001), "1970-01-01T00:00:01.001Z");
   EXPECT_EQ(utcTime(1.9996), "1970-01-01T00:00:02.000Z");
   EXPECT_EQ(utcTime(-0.25), "1969-12-31T23:59:59.750Z");
   EXPECT_EQ(utcTime(951782400), "2000-02-29T00:00:00.000Z");
   EXPECT_EQ(utcTime(2147483648), "2038-01-19T03:14:08.000Z");
   EXPECT_EQ(utcTime(4294967296), "2106-02-07T06:28:16.000Z");
}

TEST(UtcTimeTest, HasNoTextForANumberThatIsNoTime) {
   EXPECT_EQ(utcTime(std::nan("")), "-");
   EXPECT_EQ(utcTime(std::numeric_limits<double>::infinity()), "-");
   EXPECT_EQ(utcTime(1e18), "-");
   EXPECT_EQ(utcTime(-1e18), "-");
   EXPECT_EQ(utcTime(253402300799.0), "9999-12-31T23:59:59.000Z");
   EXPECT_EQ(utcTime(253402300800.0), "-");
}

TEST(SeverityWordTest, KnowsTheSyslogNumbers) {
   EXPECT_EQ(severityWord(3), "error");
   EXPECT_EQ(severityWord(4), "warning");
   EXPECT_EQ(severityWord(6), "info");
   EXPECT_EQ(severityWord(0), "emergency");
   EXPECT_EQ(severityWord(7), "debug");
   EXPECT_EQ(severityWord(8), "unknown");
   EXPECT_EQ(severityWord(-1), "unknown");
}

}  // namespace
}  // namespace Base
