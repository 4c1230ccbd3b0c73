// What versions of nvme print for a smart log, and what becomes of it.
#include "nvme-compat/NvmeLayout.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <map>
#include <string>
#include <utility>

#include "nvme-compat/JsonIndex.h"
#include "tests/support/MemoryLimit.h"
#include "tests/support/TempDir.h"

namespace NvmeCompat {
namespace {

using Kind = Layout::Kind;

std::string sample(std::string const & name) {
   return Support::fileContent(std::string{TEST_DATA_DIR "/nvme-compat/"} + name);
}

Layout smartLog(std::string const & output) {
   return knownLayout(NvmeCommand::smartLog, output);
}

// The numbers that the library would find. What is no such number is missing.
std::map<std::string, std::int64_t> numbersOf(std::string const & text) {
   std::map<std::string, std::int64_t> numbers;
   rapidjson::Document document;
   document.Parse(text.c_str());
   if (document.IsObject())
      for (auto const & member : std::as_const(document).GetObject())
         if (member.value.IsInt64())
            numbers[member.name.GetString()] = member.value.GetInt64();
   return numbers;
}

std::map<std::string, std::int64_t> const sampleNumbers{{"critical_warning", 0},
                                                        {"temperature", 310},
                                                        {"avail_spare", 100},
                                                        {"spare_thresh", 10},
                                                        {"percent_used", 3},
                                                        {"data_units_read", 1234567},
                                                        {"data_units_written", 89012345},
                                                        {"host_read_commands", 987654321},
                                                        {"host_write_commands", 12345678901},
                                                        {"controller_busy_time", 321},
                                                        {"power_cycles", 45},
                                                        {"power_on_hours", 6789},
                                                        {"unsafe_shutdowns", 12},
                                                        {"media_errors", 0},
                                                        {"num_err_log_entries", 3},
                                                        {"warning_temp_time", 7},
                                                        {"critical_comp_time", 1},
                                                        {"thm_temp1_trans_count", 2},
                                                        {"thm_temp2_trans_count", 0},
                                                        {"thm_temp1_total_time", 44},
                                                        {"thm_temp2_total_time", 0}};

TEST(NvmeLayoutTest, ReadsSmartLogsOfAllVersionsAlike) {
   for (std::string const version : {"2.1", "2.1-comma", "2.2", "2.3", "2.4-grouped", "2.4-grouped-points",
                                     "2.4-grouped-blanks", "2.11", "2.12"}) {
      Layout const layout = smartLog(sample(version + "/smart-log.json"));
      EXPECT_EQ(layout.kind, Kind::rewritten) << version;
      auto expected = sampleNumbers;
      expected["endurance_grp_critical_warning_summary"] = 0;
      EXPECT_EQ(numbersOf(layout.text), expected) << version;
   }
}

TEST(NvmeLayoutTest, KeepsMembersThatTheLibraryDoesNotRead) {
   Layout const layout = smartLog(sample("2.0/smart-log.json"));
   EXPECT_EQ(numbersOf(layout.text), sampleNumbers);  // the summary has kept its fraction
   EXPECT_NE(layout.text.find("\"endurance_grp_critical_warning_summary\":0.0,\n"), std::string::npos);
   EXPECT_EQ(smartLog(R"({ "name" : "12", "x":{"temperature":"1"}, "power_cycles" : "12", "b":1e300 })").text,
             R"({ "name" : "12", "x":{"temperature":"1"}, "power_cycles" : 12, "b":1e300 })");
}

TEST(NvmeLayoutTest, KeepsGoodMembersByteForByte) {
   for (std::string const version : {"1.16", "2.4"})
      EXPECT_EQ(smartLog(sample(version + "/smart-log.json")).kind, Kind::unchanged) << version;
}

TEST(NvmeLayoutTest, LimitsCountersBeyond64BitsToTheLargest) {
   EXPECT_EQ(
       smartLog(R"({"host_read_commands":340282366920938463463374607431768211455,"power_cycles":1})").text,
       R"({"host_read_commands":9223372036854775807,"power_cycles":1})");
   EXPECT_EQ(smartLog(R"({"power_cycles":9223372036854775807})").kind, Kind::unchanged);
}

TEST(NvmeLayoutTest, KeepsATemperatureBeyond32Bits) {
   EXPECT_EQ(smartLog(R"({"temperature":99999999999.0})").kind, Kind::unchanged);
   EXPECT_EQ(smartLog(R"({"temperature":"310"})").text, R"({"temperature":310})");
}

TEST(NvmeLayoutTest, KeepsValuesOfUnknownKinds) {
   for (std::string const value : {"null", "true", "[1]", "{}", R"({"value":null})", R"("n/a")", R"("")",
                                   "-1", R"("-1")", R"("310 K")"})
      EXPECT_EQ(smartLog(R"({"critical_warning":)" + value + "}").kind, Kind::unchanged) << value;
}

TEST(NvmeLayoutTest, DropsTextBeforeTheDocument) {
   for (std::string const before :
        {"Warning: no such locale\n", "two {braces} in it\n", "a {\nb\n", "x ", "[nvme] {\"a\":1}\n"})
      EXPECT_EQ(smartLog(before + R"({"power_cycles":12})").text, R"({"power_cycles":12})") << before;
   EXPECT_EQ(smartLog(" \n{\"power_cycles\":12}\n").kind, Kind::unchanged);
   EXPECT_EQ(smartLog("warning\n{\"other\":12}\n").kind, Kind::unchanged);
}

TEST(NvmeLayoutTest, ReportsErrorsInPlaceOfTheLog) {
   Layout const plain = smartLog(sample("2.16/smart-log-error.json"));
   EXPECT_EQ(plain.kind, Kind::error);
   EXPECT_EQ(plain.text, "smart log: Interrupted system call");
   Layout const headed = smartLog(sample("2.16/smart-log-status.json"));
   EXPECT_EQ(headed.kind, Kind::error);
   EXPECT_EQ(headed.text.find("Error: smart log: "), 0U) << headed.text;
   EXPECT_NE(headed.text.find("Invalid Namespace or Format"), std::string::npos) << headed.text;
   Layout const list = knownLayout(NvmeCommand::list, sample("2.16/list-error.json"));
   EXPECT_EQ(list.kind, Kind::error);
   EXPECT_EQ(list.text, "Failed to scan topology: Permission denied");
   EXPECT_EQ(smartLog(R"({"error":{"code":5}})").text, R"({"code":5})");
   EXPECT_EQ(smartLog(R"({"error":"a\nb\u001b[1m"})").text, "a b [1m");
}

TEST(NvmeLayoutTest, IgnoresAnErrorBesideTheLog) {
   EXPECT_EQ(smartLog(R"({"error":"x","power_cycles":"1"})").text, R"({"error":"x","power_cycles":1})");
}

TEST(NvmeLayoutTest, KeepsOtherOutput) {
   std::string const deep(1000000, '[');
   for (std::string const & output :
        {std::string{}, std::string{"Usage: nvme smart-log <device>\n"}, std::string{"{}"}, std::string{"[]"},
         std::string{R"({"power_cycles":"12")"}, std::string{R"({"a":{"power_cycles":"12"})"},
         std::string{"{\"power_cycles\":\"12\"}\0", 22}, std::string{R"({"power_cycles":"12"} trailing)"},
         std::string{R"({"smart":{"power_cycles":"12"}})"}, R"({"power_cycles":)" + deep,
         R"({"power_cycles":)" + deep + std::string(1000000, ']') + "}"})
      EXPECT_EQ(smartLog(output).kind, Kind::unchanged) << output.substr(0, 80);
}

TEST(NvmeLayoutTest, KeepsInvalidUtf8) {
   EXPECT_EQ(smartLog("{\"x\":\"\xff\xfe\",\"power_cycles\":\"7\"}").text,
             "{\"x\":\"\xff\xfe\",\"power_cycles\":7}");
}

TEST(NvmeLayoutTest, ReadsMillionsOfDigitsAsOneNumberWhereQuoted) {
   std::string const digits(std::size_t{4} << 20U, '9');
   EXPECT_EQ(smartLog("{\"power_cycles\":\"" + digits + "\"}").text,
             "{\"power_cycles\":9223372036854775807}");
   // The library's parser takes none of more than 300 digits.
   EXPECT_EQ(smartLog("{\"power_cycles\":" + digits + "}").kind, Kind::unchanged);
}

TEST(NvmeLayoutTest, BoundsTheIndex) {
   auto const array = [](std::size_t elements) {
      std::string text = "[0";
      for (std::size_t i = 1; i < elements; ++i)
         text += ",0";
      return text + "]";
   };
   EXPECT_TRUE(JsonIndex::of(array(JsonIndex::maxValues - 1)));
   EXPECT_FALSE(JsonIndex::of(array(JsonIndex::maxValues)));
   EXPECT_TRUE(JsonIndex::of(std::string(JsonIndex::maxDepth, '[') + std::string(JsonIndex::maxDepth, ']')));
   EXPECT_FALSE(
       JsonIndex::of(std::string(JsonIndex::maxDepth + 1, '[') + std::string(JsonIndex::maxDepth + 1, ']')));
}

TEST(NvmeLayoutTest, FindsTheValuesByTheIndex) {
   std::string const text = " {\"a\" : [ 1.50 , \"\\u0041\" ,{ } ], \"b\":null}\n";
   auto const json = JsonIndex::of(text);
   ASSERT_TRUE(json);
   auto const * const a = json->member(&json->root(), "a");
   ASSERT_NE(a, nullptr);
   auto const elements = json->children(*a);
   ASSERT_EQ(elements.size(), 3U);
   EXPECT_EQ(json->written(*elements[0]), "1.50");
   EXPECT_EQ(json->written(*elements[1]), "\"\\u0041\"");
   EXPECT_EQ(elements[1]->text, "A");
   EXPECT_EQ(json->written(*elements[2]), "{ }");
   EXPECT_EQ(json->written(*a), "[ 1.50 , \"\\u0041\" ,{ } ]");
   EXPECT_EQ(json->written(*json->member(&json->root(), "b")), "null");
   EXPECT_EQ(json->member(a, "b"), nullptr);
}

#ifndef STORAGEDEVICES_SANITIZED  // sanitizers need more address space than that

TEST(NvmeLayoutTest, KeepsALogWithoutMemoryForIt) {
   std::string const log = R"({"power_cycles":"12","padding":")" + std::string(3900000, 'x') + "\"}";
   EXPECT_EQ(smartLog(log).kind, Kind::rewritten);
   Support::MemoryLimit const limit{1 << 20U};
   EXPECT_EQ(smartLog(log).kind, Kind::unchanged);
}

#endif

}  // namespace
}  // namespace NvmeCompat
