// Every sample of health data under tests/data against the expectation beside it. Expectations are written
// by hand from the rules: "smartctl.json" has "smartctl.json.expected", and the two register files of an eMMC
// device have "registers.expected". Lines that begin with # are remarks.
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>

#include "DataFiles.h"
#include "NaiveHealth.h"
#include "SmartRecords.h"
#include "StorageDevices/BlockStat.h"
#include "StorageDevices/EmmcDataMonitorSm.h"
#include "StorageDevices/NvmeSmartLog.h"
#include "StorageDevices/SmartAttributes.h"
#include "tests/support/TraceRecorder.h"

namespace StorageDevices {
namespace {

namespace fs = std::filesystem;

fs::path dataFolder() {
   return fs::path(__FILE__).parent_path().parent_path() / "data";
}

enum class Kind { none, smart, smartLog, stat, registers };

// The outputs in this folder go through a translation first, and have tests of their own.
constexpr char translated[] = "nvme-compat";

Kind kindOf(fs::path const & file) {
   if (std::find(file.begin(), file.end(), translated) != file.end())
      return Kind::none;
   std::string const name = file.filename();
   bool const isJson = file.extension() == ".json";
   if (isJson && name.starts_with("smartctl"))
      return Kind::smart;
   if (isJson && name.starts_with("smart-log"))
      return Kind::smartLog;
   if (name == "stat")
      return Kind::stat;
   if (name == "life_time" || name == "pre_eol_info")
      return Kind::registers;
   return Kind::none;
}

fs::path expectationOf(fs::path const & sample) {
   if (kindOf(sample) == Kind::registers)
      return sample.parent_path() / "registers.expected";
   return sample.string() + ".expected";
}

std::string withoutRemarks(std::string const & text) {
   std::istringstream lines(text);
   std::string result;
   for (std::string line; std::getline(lines, line);)
      result += line.starts_with('#') ? "" : line + "\n";
   return result;
}

std::string smartText(std::string const & text) {
   JsonDocument const document(text);
   if (!document.isValid())
      return "error: " + std::string(document.error()) + "\n";
   auto const data = Pelm::make<DeviceSmartData>("SN1");
   parseHealthStatus(document.root(), *data);
   if (auto const * table = smartAttrsTable(document.root()))
      parseSmartAttrs(*table, *data, {});
   return SmartRecords::text(SmartRecords::recordOf(*data));
}

std::string smartLogText(std::string const & text) {
   JsonDocument const document(text);
   if (!document.isValid())
      return "error: " + std::string(document.error()) + "\n";
   Support::TraceRecorder const traces{{"StorageNvmeDataMonitorSm", 9}};
   auto const data = Pelm::make<DeviceNvmeData>("SN1");
   parseAndInsertNvmeAttrs(document.root(), *data);
   return NaiveHealth::text(NaiveHealth::logOf(*data, traces.errors()));
}

std::string statText(std::string const & text) {
   auto const stat = readBlockStat(text.substr(0, text.find('\n')));
   return stat ? "sectors read: " + std::to_string(stat->sectorsRead) +
                     "\nsectors written: " + std::to_string(stat->sectorsWritten) + "\n"
               : "nothing\n";
}

std::string registersText(fs::path const & folder) {
   auto const data = Pelm::make<DeviceEmmcData>("SN1");
   Support::TraceRecorder const traces{{"StorageEmmcDataMonitorSm", 9}};
   if (!EmmcDataAccess::getEmmcAttrs(folder, *data))
      return "nothing\n";
   auto const line = [](char const * name, LifetimeEmmcAttr const & attr) {
      return std::string(name) + ": " + std::to_string(attr.raw()) + ", percent left " +
             std::to_string(attr.percentValue()) + "\n";
   };
   return line("type A", data->lifetimeEstTypA()) + line("type B", data->lifetimeEstTypB()) +
          "pre-EOL: " + std::to_string(data->preEolInfo().raw()) + "\n";
}

std::string textOf(fs::path const & sample) {
   switch (kindOf(sample)) {
      case Kind::smart:
         return smartText(TestData::contentOf(sample));
      case Kind::smartLog:
         return smartLogText(TestData::contentOf(sample));
      case Kind::stat:
         return statText(TestData::contentOf(sample));
      default:
         return registersText(sample.parent_path());
   }
}

TEST(HealthSamplesTest, ReadsEachSampleAsExpected) {
   std::map<Kind, int> counts;
   for (auto const & entry : fs::recursive_directory_iterator(dataFolder())) {
      if (kindOf(entry) == Kind::none)
         continue;
      auto const expectation = expectationOf(entry);
      ASSERT_TRUE(fs::exists(expectation)) << expectation;
      EXPECT_EQ(textOf(entry), withoutRemarks(TestData::contentOf(expectation))) << entry.path();
      ++counts[kindOf(entry)];
   }
   EXPECT_EQ(counts.size(), 4U);
}

TEST(HealthSamplesTest, FindsASampleForEachExpectation) {
   std::set<fs::path> expected;
   for (auto const & entry : fs::recursive_directory_iterator(dataFolder()))
      if (kindOf(entry) != Kind::none)
         expected.insert(expectationOf(entry));
   int count = 0;
   for (auto const & entry : fs::recursive_directory_iterator(dataFolder()))
      if (entry.path().extension() == ".expected") {
         EXPECT_TRUE(expected.contains(entry)) << entry.path();
         ++count;
      }
   EXPECT_GT(count, 0);
}

}  // namespace
}  // namespace StorageDevices
