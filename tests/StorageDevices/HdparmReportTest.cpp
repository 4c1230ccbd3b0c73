#include "StorageDevices/HdparmReport.h"

#include <gtest/gtest.h>

#include <string>

#include "DataFiles.h"

namespace StorageDevices {
namespace {

std::string lines(std::string const & model, std::string const & serial, std::string const & firmware) {
   return "\tModel Number:       " + model + "\n\tSerial Number:      " + serial +
          "\n\tFirmware Revision:  " + firmware + "\n";
}

TEST(HdparmReportTest, FindsTheIdentityInAWholeReport) {
   std::string const report = TestData::sample("sata-ssd-256gb/hdparm-I.txt");
   auto const identity = findIdentity(report);
   ASSERT_TRUE(identity);
   EXPECT_EQ(identity->model, "Example SSD (256) X-1.0                 ");
   EXPECT_EQ(strippedMatch(identity->model), "Example SSD (256) X-1.0");
   EXPECT_EQ(strippedMatch(identity->serial), "EX00000000000001");
   EXPECT_EQ(strippedMatch(identity->firmware), "X1.0/A");
   EXPECT_EQ(findSizeGb(report), "256");
}

TEST(HdparmReportTest, DoesNotReadASizeFromAModelInParentheses) {
   std::string const report = TestData::sample("sata-ssd-256gb/hdparm-I-no-gb.txt");
   EXPECT_TRUE(findIdentity(report));
   EXPECT_EQ(findSizeGb(report), std::nullopt);
}

TEST(HdparmReportTest, FindsNothingWhereTheModelHasASlash) {
   std::string const report = TestData::sample("sata-ssd-solidus/hdparm-I.txt");
   EXPECT_EQ(findIdentity(report), std::nullopt);
   EXPECT_EQ(findSizeGb(report), "256");
}

TEST(HdparmReportTest, AcceptsOnlyWhiteSpaceBetweenTheLines) {
   EXPECT_TRUE(findIdentity("Model Number: M\n\n \t\r\n  Serial Number: S\n\n\n\vFirmware Revision: F\n"));
   EXPECT_FALSE(findIdentity("Model Number: M\nWWN: 1\nSerial Number: S\nFirmware Revision: F\n"));
   EXPECT_FALSE(findIdentity("Model Number: M\nSerial Number: S\n.\nFirmware Revision: F\n"));
   EXPECT_FALSE(findIdentity("Model Number: M Serial Number: S\nFirmware Revision: F\n"));
}

TEST(HdparmReportTest, ReadsEveryValueToTheEndOfItsLine) {
   EXPECT_FALSE(findIdentity("Model Number: M\tX\nSerial Number: S\nFirmware Revision: F\n"));
   EXPECT_FALSE(findIdentity("Model Number: M\r\nSerial Number: S\nFirmware Revision: F\n"));
   EXPECT_FALSE(findIdentity("Model Number: M\nSerial Number: S\nFirmware Revision: F"));
   EXPECT_FALSE(findIdentity("Model Number:M\nSerial Number: S\nFirmware Revision: F\n"));
}

TEST(HdparmReportTest, AcceptsTheClassesToTheirEdges) {
   for (int byte = 1; byte < 256; ++byte) {
      char const c = static_cast<char>(byte);
      bool const word = byte < 128 && (std::isalnum(byte) != 0 || c == '_');
      std::string const value = std::string("A") + c + "B";
      EXPECT_EQ(findIdentity(lines(value, "S", "F")).has_value(), word || (c >= 0x20 && c <= 0x2E)) << byte;
      EXPECT_EQ(findIdentity(lines("M", value, "F")).has_value(), word || c == ' ' || c == '-') << byte;
      // A line feed ends the firmware revision, and with it the last line.
      EXPECT_EQ(findIdentity(lines("M", "S", value)).has_value(),
                word || (c >= 0x20 && c <= 0x2F) || c == '\n')
          << byte;
   }
}

TEST(HdparmReportTest, AcceptsAnEmptyValueOnlyWithWhiteSpaceBeforeItsLineFeed) {
   auto const identity = findIdentity("Model Number: \nSerial Number:\n\nFirmware Revision:   \n");
   ASSERT_TRUE(identity);
   EXPECT_EQ(*identity, (HdparmIdentity{"", "", ""}));
   EXPECT_FALSE(findIdentity("Model Number:\nSerial Number: S\nFirmware Revision: F\n"));
   EXPECT_FALSE(findIdentity("Model Number: M\nSerial Number: S\nFirmware Revision:\n"));
}

TEST(HdparmReportTest, DoesNotReadAnEmptyValuePastTheFirstLineWithText) {
   auto const identity = findIdentity("Model Number: \n \n  M\nSerial Number: S\nFirmware Revision: F\n");
   ASSERT_TRUE(identity);
   EXPECT_EQ(identity->model, "M");
}

TEST(HdparmReportTest, UsesTheFirstPlaceThatFits) {
   std::string const report = lines("a/b", "S1", "F1") + lines("M2", "S2", "F2") + lines("M3", "S3", "F3");
   EXPECT_EQ(findIdentity(report), (HdparmIdentity{"M2", "S2", "F2"}));
   EXPECT_EQ(findIdentity("Model Number: Model Number: M\nSerial Number: S\nFirmware Revision: F\n"),
             (HdparmIdentity{"M", "S", "F"}));
}

TEST(HdparmReportTest, EndsTheReportAtItsFirstNul) {
   std::string report = lines("M", "S", "F") + "(256 GB)";
   EXPECT_TRUE(findIdentity(report));
   EXPECT_TRUE(findSizeGb(report));
   report.insert(0, 1, '\0');
   EXPECT_FALSE(findIdentity(report));
   EXPECT_FALSE(findSizeGb(report));
   EXPECT_FALSE(findIdentity(std::string_view()));
   EXPECT_FALSE(findSizeGb(std::string_view()));
}

TEST(HdparmReportTest, ReadsTheFirstSizeInParenthesesWithItsUnit) {
   EXPECT_EQ(findSizeGb("(12GB) (x GB) ( 1 GB) (7 TB) (0256 GB) (1 GB)"), "0256");
   EXPECT_EQ(findSizeGb("((5 GB)"), "5");
   EXPECT_EQ(findSizeGb("(1(2 GB)"), "2");
   EXPECT_EQ(findSizeGb("( GB) (1 GB"), std::nullopt);
   EXPECT_EQ(findSizeGb("(1.5 GB)(-3 GB)(1\xC2\xB2 GB)"), std::nullopt);
}

TEST(HdparmReportTest, RefusesASizeAboveThirtyTwoBits) {
   EXPECT_EQ(parseSizeGb("4294967295"), 4294967295U);
   EXPECT_EQ(parseSizeGb("4294967296"), std::nullopt);
   EXPECT_EQ(parseSizeGb(std::string(5000, '9')), std::nullopt);
   EXPECT_EQ(parseSizeGb(std::string(5000, '0') + "256"), 256U);
   EXPECT_EQ(parseSizeGb("0"), 0U);
   EXPECT_EQ(parseSizeGb("17 GB"), 17U);
   EXPECT_EQ(parseSizeGb(""), std::nullopt);
   EXPECT_EQ(parseSizeGb("x1"), std::nullopt);
   EXPECT_EQ(parseSizeGb("-1"), std::nullopt);
}

TEST(HdparmReportTest, StripsOnlyTrailingBlanks) {
   EXPECT_EQ(strippedMatch("Foo  "), "Foo");
   EXPECT_EQ(strippedMatch("  Foo Bar "), "  Foo Bar");
   EXPECT_EQ(strippedMatch("Foo\t "), "Foo\t");
   EXPECT_EQ(strippedMatch("Foo \t"), "Foo \t");
   EXPECT_EQ(strippedMatch("     "), "");
   EXPECT_EQ(strippedMatch(""), "");
   EXPECT_EQ(strippedMatch(std::string_view()), "");
}

}  // namespace
}  // namespace StorageDevices
