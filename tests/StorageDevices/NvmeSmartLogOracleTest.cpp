// The reading of smart logs against a naive one, on random logs.
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <string>

#include "NaiveHealth.h"
#include "RandomJson.h"
#include "StorageDevices/NvmeSmartLog.h"
#include "tests/support/RandomSeed.h"
#include "tests/support/TraceRecorder.h"

namespace StorageDevices {
namespace {

using NaiveHealth::logFields;
using NaiveJson::Value;

#ifdef STORAGEDEVICES_SANITIZED
constexpr int smartLogRuns = 10'000;
#else
constexpr int smartLogRuns = 100'000;
#endif

// Mostly some of the keys: a log with all of them would be long, and each is read alone.
Value randomLog(RandomJson & json) {
   Value log = RandomJson::object();
   bool const isFull = json.oneIn(20);
   for (auto const & field : logFields) {
      if (!isFull && json.oneIn(2))
         continue;
      Value value = RandomJson::number(std::to_string(json.below(400)));
      if (json.oneIn(4))
         value = json.number();
      if (json.oneIn(12))
         value = RandomJson::string(std::to_string(json.below(400)));
      json.add(log, field.key, std::move(value));
   }
   if (json.oneIn(4))
      json.add(log, "thm_temp1_total_time", json.any());
   json.shuffle(log);
   return log;
}

TEST(NvmeSmartLogOracleTest, ReadsRandomLogsAsANaiveReaderDoes) {
   RandomJson json(Support::randomSeed(20240613));
   Support::TraceRecorder traces{{"StorageNvmeDataMonitorSm", 9}};
   auto const data = Pelm::make<DeviceNvmeData>("SN1");
   int good = 0;
   int malformed = 0;
   for (int i = 0; i < smartLogRuns; ++i) {
      Value const log = randomLog(json);
      std::string const text = json.text(log);
      JsonDocument const document(text);
      ASSERT_EQ(document.error(), "") << text;
      traces.clear();
      parseAndInsertNvmeAttrs(document.root(), *data);
      auto const expected = NaiveHealth::naiveLog(log);
      ASSERT_EQ(traces.errors().size(), traces.lines().size());
      ASSERT_EQ(NaiveHealth::logOf(*data, traces.errors()), expected) << "log " << i << ": " << text;
      good += static_cast<int>(std::size(logFields) - expected.traces.size());
      for (auto const & trace : expected.traces)
         malformed += trace.ends_with("format") ? 1 : 0;
   }
   EXPECT_GT(good, 2 * smartLogRuns);
   EXPECT_GT(malformed, smartLogRuns / 2);
}

}  // namespace
}  // namespace StorageDevices
