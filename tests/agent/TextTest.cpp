#include "agent/Text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Agent {
namespace {

TEST(Escaped, leavesOrdinaryTextAlone) {
   EXPECT_EQ(escaped(""), "");
   EXPECT_EQ(escaped("Samsung SSD 860 EVO"), "Samsung SSD 860 EVO");
   EXPECT_EQ(escaped("Größe 東京 🙂 C:\\x"), "Größe 東京 🙂 C:\\x");
}

TEST(Escaped, writesOutWhatSteersATerminal) {
   EXPECT_EQ(escaped("\x1b[2J"), "\\x1b[2J");
   EXPECT_EQ(escaped("a\nb\rc\td\x7f"), "a\\nb\\rc\\td\\x7f");
   EXPECT_EQ(escaped(std::string_view{"a\0b", 3}), "a\\x00b");
   EXPECT_EQ(escaped("\xc2\x9b"
                     "31m"),
             "\\u009b31m");
}

TEST(Escaped, writesOutLineSeparatorsAndBidirectionalControls) {
   std::string const lead = "\xe2";  // apart, since a literal must not itself hold such controls
   EXPECT_EQ(escaped(lead + "\x80\xae" + "gpj.exe"), "\\u202egpj.exe");
   EXPECT_EQ(escaped(lead + "\x80\xa8" + lead + "\x81\xa6"), "\\u2028\\u2066");
   EXPECT_EQ(escaped(lead + "\x80\x8f"), "\\u200f");
}

TEST(Escaped, writesOutEveryByteThatIsNoUtf8) {
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

TEST(Escaped, staysTheSameWhenEscapedAgain) {
   std::string all;
   for (int byte = 0; byte < 256; ++byte)
      all += static_cast<char>(byte);
   std::string const once = escaped(all);
   EXPECT_EQ(escaped(once), once);
   for (char const c : once)
      EXPECT_TRUE(c >= 0x20 && c < 0x7f) << static_cast<int>(c);
}

TEST(ValidUtf8, putsOneReplacementForEachIllFormedSequence) {
   EXPECT_EQ(validUtf8("plain é 東 🙂\n"), "plain é 東 🙂\n");
   EXPECT_EQ(validUtf8("a\xff"
                       "b"),
             "a\xef\xbf\xbd"
             "b");
   EXPECT_EQ(validUtf8("\xe2\x82"), "\xef\xbf\xbd");
   EXPECT_EQ(validUtf8("\xf0\x9f\x99"
                       "x"),
             "\xef\xbf\xbd"
             "x");
   EXPECT_EQ(validUtf8("\xc0\xaf"), "\xef\xbf\xbd\xef\xbf\xbd");
   EXPECT_EQ(validUtf8("\xed\xa0\x80"), "\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd");
}

TEST(DisplayWidth, countsTerminalCells) {
   EXPECT_EQ(displayWidth(""), 0U);
   EXPECT_EQ(displayWidth("37 °C"), 5U);
   EXPECT_EQ(displayWidth("e\xcc\x81"), 1U);
   EXPECT_EQ(displayWidth("東京"), 4U);
}

TEST(CutToWidth, marksWhatWasCut) {
   EXPECT_EQ(cutToWidth("abcdef", 6), "abcdef");
   EXPECT_EQ(cutToWidth("abcdef", 5), "abcd…");
   EXPECT_EQ(cutToWidth("abcdef", 1), "…");
   EXPECT_EQ(cutToWidth("abcdef", 0), "");
   EXPECT_EQ(cutToWidth("東京都", 4), "東…");
   EXPECT_EQ(cutToWidth("ééé", 2), "é…");
}

TEST(UtcTime, isRfc3339WithMilliseconds) {
   EXPECT_EQ(utcTime(0), "1970-01-01T00:00:00.000Z");
   EXPECT_EQ(utcTime(1795196298.5), "2026-11-20T17:38:18.500Z");
   EXPECT_EQ(utcTime(1.001), "1970-01-01T00:00:01.001Z");
   EXPECT_EQ(utcTime(1.9996), "1970-01-01T00:00:02.000Z");
   EXPECT_EQ(utcTime(-0.25), "1969-12-31T23:59:59.750Z");
   EXPECT_EQ(utcTime(951782400), "2000-02-29T00:00:00.000Z");
}

TEST(UtcTime, hasNoTextForWhatIsNoTime) {
   EXPECT_EQ(utcTime(std::nan("")), "-");
   EXPECT_EQ(utcTime(std::numeric_limits<double>::infinity()), "-");
   EXPECT_EQ(utcTime(1e18), "-");
   EXPECT_EQ(utcTime(-1e18), "-");
   EXPECT_EQ(utcTime(253402300799.0), "9999-12-31T23:59:59.000Z");
   EXPECT_EQ(utcTime(253402300800.0), "-");
}

TEST(SeverityWord, knowsTheSyslogNumbers) {
   EXPECT_EQ(severityWord(3), "error");
   EXPECT_EQ(severityWord(4), "warning");
   EXPECT_EQ(severityWord(6), "info");
   EXPECT_EQ(severityWord(0), "emergency");
   EXPECT_EQ(severityWord(7), "debug");
   EXPECT_EQ(severityWord(8), "unknown");
   EXPECT_EQ(severityWord(-1), "unknown");
}

}  // namespace
}  // namespace Agent
