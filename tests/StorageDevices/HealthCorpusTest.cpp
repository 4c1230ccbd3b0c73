// Health data of real devices through the parsers and through the naive readings.
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

#include <string>

#include "DataFiles.h"
#include "NaiveHealth.h"
#include "NaiveSmart.h"
#include "StorageDevices/EmmcDataMonitorSm.h"
#include "StorageDevices/NvmeSmartLog.h"
#include "StorageDevices/SmartAttributes.h"
#include "tests/support/Regex.h"
#include "tests/support/TempDir.h"
#include "tests/support/TraceRecorder.h"

namespace StorageDevices {
namespace {

// Whether it is a document; if it is none, it must be refused in the words of the plain parser.
bool isDocument(JsonDocument const & document, std::string const & text) {
   rapidjson::Document plain;
   plain.Parse(text.c_str());
   EXPECT_EQ(document.error(),
             plain.HasParseError() ? rapidjson::GetParseError_En(plain.GetParseError()) : "");
   return document.isValid();
}

SmartRecords::Record recordOf(JsonDocument const & document) {
   auto const data = Pelm::make<DeviceSmartData>("SN1");
   parseHealthStatus(document.root(), *data);
   if (auto const * table = smartAttrsTable(document.root()))
      parseSmartAttrs(*table, *data, {});
   return SmartRecords::recordOf(*data);
}

TEST(HealthCorpusTest, ReadsSmartReportsAsANaiveReaderDoes) {
   SKIP_WITHOUT_CORPUS();
   int refused = 0;
   int withTable = 0;
   int withoutTable = 0;
   std::map<std::string, int> fields;
   for (auto const & file : TestData::corpusFiles("smartctl-json")) {
      std::string const text = TestData::contentOf(file);
      JsonDocument const document(text);
      if (!isDocument(document, text)) {
         ++refused;
         continue;
      }
      auto const record = recordOf(document);
      EXPECT_EQ(record, NaiveSmart::naiveRecord(NaiveJson::Reader(text).value())) << file;
      ++(record.allPassing ? withTable : withoutTable);
      for (auto const & [name, attr] : record.fields)
         ++fields[name];
   }
   EXPECT_GT(withTable, 0);
   EXPECT_GT(withoutTable, 0);
   EXPECT_GT(refused, 0);
   for (auto const * name :
        {"powerOnHours", "temperatureCelsius", "lifetimeRemaining", "reallocatedSectorCount"})
      EXPECT_GT(fields[name], 0) << name;
}

TEST(HealthCorpusTest, ReadsSmartLogsAsANaiveReaderDoes) {
   SKIP_WITHOUT_CORPUS();
   Support::TraceRecorder traces{{"StorageNvmeDataMonitorSm", 9}};
   int count = 0;
   for (auto const & file : TestData::corpusFiles("nvme-smart-log-json")) {
      std::string const text = TestData::contentOf(file);
      JsonDocument const document(text);
      ASSERT_TRUE(isDocument(document, text)) << file;
      auto const data = Pelm::make<DeviceNvmeData>("SN1");
      traces.clear();
      parseAndInsertNvmeAttrs(document.root(), *data);
      EXPECT_EQ(NaiveHealth::logOf(*data, traces.errors()),
                NaiveHealth::naiveLog(NaiveJson::Reader(text).value()))
          << file;
      ++count;
   }
   EXPECT_GT(count, 0);
}

TEST(HealthCorpusTest, ReadsStatLinesAsTheRegularExpressionDoes) {
   SKIP_WITHOUT_CORPUS();
   static Support::Regex const pattern(R"(\d+\s+\d+\s+(\d+)\s+\d+\s+\d+\s+\d+\s+(\d+))");
   int count = 0;
   for (auto const & file : TestData::corpusFiles("block-stat")) {
      std::string const line = TestData::contentOf(file);
      auto const match = pattern.search(line);
      ASSERT_FALSE(match.empty()) << file;
      BlockStat const expected{*NaiveHealth::naiveCount(std::string{match[1]}),
                               *NaiveHealth::naiveCount(std::string{match[2]})};
      EXPECT_EQ(readBlockStat(line), expected) << file;
      ++count;
   }
   EXPECT_GT(count, 0);
}

// The contents of the two register files in the samples, in any form.
struct CorpusRegisters {
   std::vector<std::string> lifeTime;
   std::vector<std::string> preEolInfo;

   void add(std::filesystem::path const & file) {
      std::string const name = file.filename();
      std::string const text = TestData::contentOf(file);
      if (name.starts_with("life_time"))
         lifeTime.push_back(text);
      else if (name.starts_with("pre_eol_info"))
         preEolInfo.push_back(text);
      else
         addFromDump(text);
   }

 private:
   void addFromDump(std::string const & text) {
      if (auto const match = Support::Regex("life_time: *(.*)").search(text); !match.empty())
         lifeTime.emplace_back(match[1]);
      if (auto const match = Support::Regex("TYP_A\\]: *(.*)\n.*TYP_B\\]: *(.*)").search(text);
          !match.empty())
         lifeTime.push_back(std::string{match[1]} + " " + std::string{match[2]} + "\n");
      if (auto const match = Support::Regex("PRE_EOL_INFO\\]: *(.*)").search(text); !match.empty())
         preEolInfo.emplace_back(match[1]);
   }
};

TEST(HealthCorpusTest, ReadsRegistersAsANaiveReaderDoes) {
   SKIP_WITHOUT_CORPUS();
   CorpusRegisters registers;
   for (auto const & file : TestData::corpusFiles("emmc"))
      registers.add(file);
   EXPECT_GT(registers.lifeTime.size(), 1U);
   EXPECT_GT(registers.preEolInfo.size(), 1U);
   Support::TempDir const folder;
   for (auto const & lifeTime : registers.lifeTime) {
      for (auto const & preEolInfo : registers.preEolInfo) {
         folder.write("life_time", lifeTime);
         folder.write("pre_eol_info", preEolInfo);
         auto const data = Pelm::make<DeviceEmmcData>("SN1");
         EXPECT_TRUE(EmmcDataAccess::getEmmcAttrs(folder.string(), *data)) << lifeTime << preEolInfo;
         EXPECT_EQ(NaiveHealth::registersOf(*data), NaiveHealth::naiveRegisters(lifeTime, preEolInfo))
             << lifeTime << preEolInfo;
      }
   }
}

}  // namespace
}  // namespace StorageDevices
