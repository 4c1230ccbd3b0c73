// Texts that no tool prints, or only a broken one: each is refused in words or read as the rules say.
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <string>

#include "NaiveHealth.h"
#include "SmartRecords.h"
#include "StorageDevices/EmmcDataMonitorSm.h"
#include "StorageDevices/NvmeSmartLog.h"
#include "StorageDevices/SmartAttributes.h"
#include "tests/support/TempDir.h"
#include "tests/support/TraceRecorder.h"

namespace StorageDevices {
namespace {

constexpr std::size_t fourMiB = std::size_t{4} << 20U;
constexpr char tooDeep[] = "Terminate parsing due to Handler error.";
constexpr char tooBig[] = "Number too big to be stored in double.";
constexpr char noComma[] = "Missing a comma or '}' after an object member.";
constexpr char invalid[] = "Invalid value.";
constexpr char unclosed[] = "Missing a closing quotation mark in string.";

std::string nested(unsigned depth, std::string const & open, std::string const & inner,
                   std::string const & close) {
   std::string text;
   for (unsigned i = 0; i < depth; ++i)
      text += open;
   text += inner;
   for (unsigned i = 0; i < depth; ++i)
      text += close;
   return text;
}

// A report with one row, of which the raw value, its text or the name may be any JSON.
std::string report(std::string const & raw, std::string const & rawString = "\"36\"",
                   std::string const & name = "\"Power_On_Hours\"", int id = 9) {
   return R"({"smart_status":{"passed":true},"ata_smart_attributes":{"table":[{"id":)" + std::to_string(id) +
          R"(,"name":)" + name + R"(,"value":64,"worst":60,"thresh":0,"flags":{"value":34},"raw":{"value":)" +
          raw + R"(,"string":)" + rawString + "}}]}}";
}

std::string smartLog(std::string const & cycles) {
   return R"({"power_on_hours":7,"power_cycles":)" + cycles + R"(,"media_errors":3})";
}

SmartRecords::Record recordOf(std::string const & text) {
   JsonDocument const document(text);
   EXPECT_EQ(document.error(), "");
   auto const data = Pelm::make<DeviceSmartData>("SN1");
   parseHealthStatus(document.root(), *data);
   if (auto const * table = smartAttrsTable(document.root()))
      parseSmartAttrs(*table, *data, {});
   return SmartRecords::recordOf(*data);
}

// What a log says of its cycles; none when they are traced as malformed.
std::optional<std::int64_t> cyclesOf(std::string const & text) {
   Support::TraceRecorder const traces{{"StorageNvmeDataMonitorSm", 0}};
   JsonDocument const document(text);
   EXPECT_EQ(document.error(), "");
   auto const data = Pelm::make<DeviceNvmeData>("SN1");
   parseAndInsertNvmeAttrs(document.root(), *data);
   EXPECT_EQ(data->powerOnHours().value, 7);
   EXPECT_EQ(data->mediaErrors().value, 3);
   auto const malformed =
       traces.count(0, std::string(NaiveHealth::logTraceStart) + "power_cycles is not in expected format");
   EXPECT_EQ(traces.errors().size(),
             std::size(NaiveHealth::logFields) - 3 + static_cast<std::size_t>(malformed));
   return malformed == 0 ? std::optional(data->powerCycleCount().value) : std::nullopt;
}

SmartRecords::Record const nothingRead{.verdict = true, .allPassing = true};

TEST(HostileHealthTextsTest, RefusesDeepNesting) {
   for (auto const & [open, inner, close] :
        {std::tuple("[", "", "]"), std::tuple("{\"a\":", "1", "}"), std::tuple("[{\"a\":", "1", "}]"),
         std::tuple("[", "", ""), std::tuple("{\"raw\":", "", "")}) {
      std::string const value = nested(1'000'000, open, inner, close);
      for (auto const & text : {value, report(value), report("1", value), smartLog(value)})
         EXPECT_EQ(JsonDocument(text).error(), tooDeep) << open;
   }
}

TEST(HostileHealthTextsTest, TreatsNestingWithinTheBoundAsAMalformedValue) {
   std::string const value = nested(JsonDocument::maxDepth - 5, "[", "", "]");
   EXPECT_EQ(recordOf(report(value)), nothingRead);
   EXPECT_EQ(recordOf(report("1", value)).fields.at("powerOnHours").rawString, "");
   EXPECT_EQ(recordOf(report("1", "\"1\"", value)), nothingRead);
   EXPECT_EQ(cyclesOf(smartLog(value)), std::nullopt);
}

TEST(HostileHealthTextsTest, RefusesANumberOfMebibytes) {
   std::string const digits(fourMiB, '9');
   for (auto const & number : {digits, "-" + digits, digits + ".0", digits + "e5"})
      for (auto const & text : {number, report(number), smartLog(number)})
         EXPECT_EQ(JsonDocument(text).error(), tooBig);
}

TEST(HostileHealthTextsTest, RefusesALongFractionAsAWholeNumber) {
   for (auto const & number : {"0." + std::string(fourMiB, '3'), "1." + std::string(fourMiB, '0')}) {
      EXPECT_EQ(recordOf(report(number)), nothingRead);
      EXPECT_EQ(cyclesOf(smartLog(number)), std::nullopt);
   }
}

TEST(HostileHealthTextsTest, ReadsNumbersAtTheLimitsAndRefusesThoseBeyond) {
   for (std::int64_t const value :
        {std::int64_t{INT64_MIN}, std::int64_t{INT64_MAX}, std::int64_t{INT32_MIN} - 1,
         std::int64_t{UINT32_MAX} + 1, std::int64_t{9007199254740993}, std::int64_t{-1}, std::int64_t{0}}) {
      std::string const number = std::to_string(value);
      EXPECT_EQ(recordOf(report(number)).fields.at("powerOnHours").reportedValue, value);
      EXPECT_EQ(cyclesOf(smartLog(number)), value);
   }
   EXPECT_EQ(recordOf(report("-0")).fields.at("powerOnHours").reportedValue, 0);
   EXPECT_EQ(cyclesOf(smartLog("-0")), 0);
   for (auto const * number : {"9223372036854775808", "-9223372036854775809", "18446744073709551615",
                               "18446744073709551616", "0.0", "-0.0", "1.0", "1e0", "1E+2", "1e-400",
                               "1.7976931348623157e308", "\"1\"", "null", "true", "{\"value\":1}"}) {
      EXPECT_EQ(recordOf(report(number)), nothingRead) << number;
      EXPECT_EQ(cyclesOf(smartLog(number)), std::nullopt) << number;
   }
}

TEST(HostileHealthTextsTest, RefusesTextThatIsNoJsonWithTheReason) {
   for (auto const & [value, error] :
        {std::pair("1e309", tooBig),
         std::pair("-1e400", tooBig),
         std::pair("01", noComma),
         std::pair("0x10", noComma),
         std::pair("1 2", noComma),
         std::pair("1_000", noComma),
         std::pair("+1", invalid),
         std::pair(".5", invalid),
         std::pair("NaN", invalid),
         std::pair("Infinity", invalid),
         std::pair("-", invalid),
         std::pair("", invalid),
         std::pair("\xff", invalid),
         std::pair("'1'", invalid),
         std::pair("TRUE", invalid),
         std::pair("1.", "Miss fraction part in number."),
         std::pair("1e", "Miss exponent in number."),
         std::pair("\"\\q\"", "Invalid escape character in string."),
         std::pair("\"\\u12G4\"", "Incorrect hex digit after \\u escape in string."),
         std::pair("\"\\ud800\"", "The surrogate pair in string is invalid."),
         std::pair("\"\\ud800\\u0041\"", "The surrogate pair in string is invalid."),
         std::pair("[1,]", invalid),
         std::pair("[1 2]", "Missing a comma or ']' after an array element."),
         std::pair("{a:1}", "Missing a name for object member."),
         std::pair("{\"a\" 1}", "Missing a colon after a name of object member.")}) {
      EXPECT_EQ(JsonDocument(report(value)).error(), error) << value;
      EXPECT_EQ(JsonDocument(smartLog(value)).error(), error) << value;
   }
}

TEST(HostileHealthTextsTest, RefusesAReportCutOffAnywhere) {
   for (auto const & whole : {report("36"), smartLog("5")}) {
      for (std::size_t size = 0; size < whole.size(); ++size) {
         EXPECT_NE(JsonDocument(whole.substr(0, size)).error(), "") << size;
         std::string ended = whole;
         ended[size] = '\0';
         EXPECT_EQ(JsonDocument(ended).error(), JsonDocument(whole.substr(0, size)).error()) << size;
      }
      std::string twice = whole + '\0';
      twice += whole;
      EXPECT_EQ(JsonDocument(twice).error(), "");
      EXPECT_EQ(JsonDocument(whole + whole).error(),
                "The document root must not be followed by other values.");
      EXPECT_EQ(JsonDocument("\xef\xbb\xbf" + whole).error(), invalid);
   }
   EXPECT_EQ(JsonDocument("").error(), "The document is empty.");
   EXPECT_EQ(JsonDocument(std::string(fourMiB, ' ')).error(), "The document is empty.");
   EXPECT_EQ(JsonDocument("\"" + std::string(fourMiB, 'x')).error(), unclosed);
}

TEST(HostileHealthTextsTest, KeepsBytesThatAreNoUtf8) {
   for (std::string const bytes :
        {"\xff\xfe", "\xc0\x80", "\xed\xa0\x80", "\xf5\x80\x80\x80", "Power_On_Hours\xc3"}) {
      auto const record = recordOf(report("1", "\"36" + bytes + "\"", "\"" + bytes + "\""));
      ASSERT_EQ(record.unknown.size(), 1U);
      EXPECT_EQ(record.unknown.at(9).name, bytes);
      EXPECT_EQ(record.unknown.at(9).rawString, "36" + bytes);
   }
}

TEST(HostileHealthTextsTest, TreatsANulAsPartOfAName) {
   auto const record = recordOf(report("1", R"("36\u0000")", R"("Power_On_Hours\u0000")"));
   ASSERT_EQ(record.unknown.size(), 1U);
   EXPECT_EQ(record.unknown.at(9).name, std::string("Power_On_Hours\0", 15));
   EXPECT_EQ(record.unknown.at(9).rawString, std::string("36\0", 3));
   EXPECT_EQ(
       recordOf(R"({"smart_status\u0000":{"passed":true},"smart_status":{"passed\u0000":true}})").verdict,
       std::nullopt);
   EXPECT_EQ(JsonDocument(report("1", "\"36\"", std::string("\"a\0b\"", 5))).error(), unclosed);
}

TEST(HostileHealthTextsTest, KeepsLongTextsWhole) {
   std::string const digits(fourMiB, '3');
   auto const temperature = recordOf(report("36", "\"" + digits + "\"", "\"Temperature_Celsius\"", 194));
   ASSERT_EQ(temperature.unknown.size(), 1U);  // no drive is as hot as that
   EXPECT_TRUE(temperature.unknown.at(194).rawString == digits);
   auto const name = recordOf(report("36", "\"36\"", "\"" + digits + "\""));
   EXPECT_TRUE(name.unknown.at(9).name == digits);
}

TEST(HostileHealthTextsTest, KeepsOneOfAHundredThousandRowsPerNumber) {
   std::string table;
   for (int i = 0; i < 100'000; ++i)
      table += (i == 0 ? "" : ",") + (R"({"id":)" + std::to_string(i % 256)) +
               R"(,"name":"Row","value":1,"worst":1,)" + R"("flags":{"value":0},"raw":{"value":)" +
               std::to_string(i) + "}}";
   auto const record = recordOf(R"({"ata_smart_attributes":{"table":[)" + table + "]}}");
   EXPECT_TRUE(record.fields.empty());
   ASSERT_EQ(record.unknown.size(), 256U);
   EXPECT_EQ(record.unknown.at(99'999 % 256).raw, 99'999);
   EXPECT_EQ(record.unknown.at((99'999 + 1) % 256).raw, 99'999 - 255);
}

TEST(HostileHealthTextsTest, IgnoresARootThatIsNoObject) {
   Support::TraceRecorder const traces{{"StorageNvmeDataMonitorSm", 0}};
   for (auto const * text : {"[]", "7", "\"power_cycles\"", "null", "true", "[{\"power_cycles\":1}]", "{}"}) {
      EXPECT_EQ(recordOf(text), SmartRecords::Record()) << text;
      EXPECT_EQ(parseAttr(JsonDocument(text).root(), "power_cycles"), (NvmeAttr{"power_cycles", 0})) << text;
   }
   EXPECT_EQ(traces.count(0, std::string(NaiveHealth::logTraceStart) +
                                 "power_cycles does not exist in nvme smart-log output"),
             7);
}

TEST(HostileHealthTextsTest, StoresNothingFromRegistersOfMebibytes) {
   Support::TempDir const folder;
   auto const data = Pelm::make<DeviceEmmcData>("SN1");
   for (auto const & text :
        {std::string(fourMiB, '1'), "0x" + std::string(fourMiB, 'f'), std::string(fourMiB, ' '),
         std::string(fourMiB, '\0'), std::string(fourMiB, '\xff'), std::string(fourMiB, '-')}) {
      folder.write("life_time", text);
      folder.write("pre_eol_info", "0x01");
      EXPECT_FALSE(EmmcDataAccess::getEmmcAttrs(folder.string(), *data));
      folder.write("life_time", "0x01 0x01");
      folder.write("pre_eol_info", text);
      EXPECT_FALSE(EmmcDataAccess::getEmmcAttrs(folder.string(), *data));
   }
   EXPECT_EQ(NaiveHealth::registersOf(*data), std::nullopt);
   // Leading zeros do not make a number larger.
   folder.write("pre_eol_info", std::string(fourMiB, '0') + "1");
   EXPECT_TRUE(EmmcDataAccess::getEmmcAttrs(folder.string(), *data));
   EXPECT_EQ(NaiveHealth::registersOf(*data), (NaiveHealth::Registers{1, 1, 1}));
}

}  // namespace
}  // namespace StorageDevices
