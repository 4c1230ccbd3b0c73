#include "agent/documents/HealthDocument.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <cstdint>
#include <limits>
#include <set>
#include <string>

#include "tests/support/DocumentText.h"

namespace Agent {
namespace {

using namespace StorageDevices;

std::string textOf(SmartData const & data) {
   return Support::documentText(smartDataJson(data));
}
std::string textOf(NvmeData const & data) {
   return Support::documentText(nvmeDataJson(data));
}
std::string textOf(EmmcData const & data) {
   return Support::documentText(emmcDataJson(data));
}
std::string textOf(IOStatData const & data, std::size_t history = SIZE_MAX) {
   return Support::documentText(ioStatDataJson(data, history));
}

SmartAttr attr(std::uint8_t id, char const * name) {
   SmartAttr result;
   result.id = id;
   result.name = name;
   return result;
}

std::set<std::string> namesOf(rapidjson::Value const & object) {
   std::set<std::string> names;
   for (auto const & member : object.GetObject())
      names.insert(member.name.GetString());
   return names;
}

TEST(HealthDocumentTest, LeavesARecordThatWasNotReadEmpty) {
   auto const smart = Pelm::make<SmartData>();
   smart->deviceDataIs("S");
   EXPECT_EQ(textOf(*smart), R"({"S":{"attrs":{},"unknownAttrs":[]}})");
   auto const nvme = Pelm::make<NvmeData>();
   nvme->deviceDataIs("S");
   EXPECT_EQ(textOf(*nvme), R"({"S":{}})");
   auto const emmc = Pelm::make<EmmcData>();
   emmc->deviceDataIs("S");
   EXPECT_EQ(textOf(*emmc), R"({"S":{}})");
   auto const ioStat = Pelm::make<IOStatData>();
   ioStat->ioStatDataIs("S");
   EXPECT_EQ(textOf(*ioStat), R"({"S":[]})");
}

TEST(HealthDocumentTest, DistinguishesAVerdictFromATable) {
   auto const smart = Pelm::make<SmartData>();
   smart->deviceDataIs("S");
   auto const record = smart->deviceData("S");
   record->attrsReadIs(true);
   EXPECT_EQ(textOf(*smart), R"({"S":{"allAttrsPassing":false,"attrs":{},"unknownAttrs":[]}})");
   record->healthStatusReadIs(true);
   record->healthStatusOkIs(true);
   record->allAttrsPassingIs(true);
   EXPECT_EQ(textOf(*smart),
             R"({"S":{"healthStatusOk":true,"allAttrsPassing":true,"attrs":{},"unknownAttrs":[]}})");
}

TEST(HealthDocumentTest, ShowsAnAttributeWithAllItsParts) {
   auto const smart = Pelm::make<SmartData>();
   smart->deviceDataIs("S");
   SmartAttr hours = attr(9, "Power_On_Hours");
   hours.thresh = 1;
   hours.value = 255;
   hours.worst = 2;
   hours.flags = 50;
   hours.raw = std::numeric_limits<std::int64_t>::min();
   hours.rawString = "12h\xff";
   hours.reportedValue = std::numeric_limits<std::int64_t>::max();
   smart->deviceData("S")->powerOnHoursIs(OptionalSmartAttr::from(hours));
   EXPECT_EQ(textOf(*smart),
             "{\"S\":{\"attrs\":{\"powerOnHours\":{\"id\":9,\"name\":\"Power_On_Hours\",\"thresh\":1,"
             "\"value\":255,\"worst\":2,\"flags\":50,\"raw\":-9223372036854775808,\"rawString\":\"12h"
             "\\\\xff\",\"reportedValue\":9223372036854775807}},\"unknownAttrs\":[]}}");
}

TEST(HealthDocumentTest, NamesEveryFieldOfARecordDifferently) {
   auto const smart = Pelm::make<SmartData>();
   smart->deviceDataIs("S");
   auto const record = smart->deviceData("S");
   for (SmartField const & field : smartFields)
      ((*record).*field.set)(OptionalSmartAttr::from(attr(1, "A")));
   auto const nvme = Pelm::make<NvmeData>();
   nvme->deviceDataIs("S");
   auto const log = nvme->deviceData("S");
   for (NvmeField const & field : nvmeFields)
      ((*log).*field.set)({field.key, -1});
   rapidjson::Document document;
   document.Parse(textOf(*smart).c_str());
   EXPECT_EQ(namesOf(document["S"]["attrs"]).size(), std::size(smartFields));
   document.Parse(textOf(*nvme).c_str());
   EXPECT_EQ(namesOf(document["S"]).size(), std::size(nvmeFields));
   EXPECT_STREQ(document["S"]["percentageUsed"]["name"].GetString(), "percent_used");
   EXPECT_EQ(document["S"]["percentageUsed"]["value"].GetInt(), -1);
}

TEST(HealthDocumentTest, ListsUnknownAttributesInOrderOfNumber) {
   auto const smart = Pelm::make<SmartData>();
   smart->deviceDataIs("S");
   for (int const id : {255, 3, 128, 1, 77})
      smart->deviceData("S")->unknownAttrIs(attr(static_cast<std::uint8_t>(id), "A"));
   rapidjson::Document document;
   document.Parse(textOf(*smart).c_str());
   std::string ids;
   for (auto const & unknown : document["S"]["unknownAttrs"].GetArray())
      ids += std::to_string(unknown["id"].GetInt()) + " ";
   EXPECT_EQ(ids, "1 3 77 128 255 ");
}

TEST(HealthDocumentTest, ShowsARegisterThatReadsZero) {
   auto const emmc = Pelm::make<EmmcData>();
   emmc->deviceDataIs("S");
   emmc->deviceData("S")->lifetimeEstTypAIs(LifetimeEmmcAttr{0});
   emmc->deviceData("S")->preEolInfoIs(PreEolEmmcAttr{255});
   EXPECT_EQ(textOf(*emmc), R"({"S":{"lifetimeEstTypA":0,"preEolInfo":255}})");
}

TEST(HealthDocumentTest, ShowsTheRequestedPartOfAHistoryOldestFirst) {
   auto const data = Pelm::make<IOStatData>();
   data->ioStatDataIs("S");
   data->ioStatData("S")->recordMeasurement(12.5, 1024000, 2048000);
   data->ioStatData("S")->recordMeasurement(72.5, 18446744073709551104ULL, 0);
   std::string const newest = R"({"time":72.5,"bytesRead":18446744073709551104,"bytesWritten":0})";
   std::string const all =
       R"({"S":[{"time":12.5,"bytesRead":1024000,"bytesWritten":2048000},)" + newest + "]}";
   EXPECT_EQ(textOf(*data), all);
   EXPECT_EQ(textOf(*data, 2), all);
   EXPECT_EQ(textOf(*data, 1), R"({"S":[)" + newest + "]}");
   EXPECT_EQ(textOf(*data, 0), R"({"S":[]})");
}

}  // namespace
}  // namespace Agent
