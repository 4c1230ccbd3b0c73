#include "agent/documents/MetricDefinitions.h"

#include <cctype>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/agent/documents/MetricsTest.h"
#include "tests/support/MountedDisk.h"

namespace Agent {
namespace {

constexpr char const * wordOf(prometheus::MetricType type) {
   return type == Metric::Counter ? "counter" : type == Metric::Histogram ? "histogram" : "gauge";
}

std::string labelsOf(MetricDefinition const & metric, std::string const & separator) {
   std::string text;
   for (char const * const label : metric.labels)
      if (label)
         text += (text.empty() ? "" : separator) + std::string{label};
   return text;
}

std::vector<std::string> linesOf(std::filesystem::path const & path) {
   std::ifstream file{path};
   std::vector<std::string> lines;
   for (std::string line; std::getline(file, line);)
      lines.push_back(line);
   return lines;
}

// Rules and dashboards of others read these names. A new metric adds a line to the contract; a line that goes
// or changes breaks them.
TEST(MetricDefinitionsTest, MatchesTheContract) {
   std::vector<std::string> defined;
   for (MetricDefinition const * const metric : Metric::all)
      defined.push_back(std::string{metric->name} + " " + wordOf(metric->type) + " {" +
                        labelsOf(*metric, ",") + "}");
   EXPECT_EQ(defined, linesOf(TEST_DATA_DIR "/metrics/contract.txt"));
}

TEST(MetricDefinitionsTest, MatchesTheManual) {
   std::vector<std::string> rows;
   for (MetricDefinition const * const metric : Metric::all) {
      std::string const labels = labelsOf(*metric, "`, `");
      rows.push_back("| `" + std::string{metric->name} + "` | " + wordOf(metric->type) + " | " +
                     (labels.empty() ? "" : "`" + labels + "`") + " | " + metric->help + " |");
   }
   std::vector<std::string> manual = linesOf(TEST_DATA_DIR "/../../docs/metrics.md");
   std::erase_if(manual, [](std::string const & line) {
      return !line.starts_with("| `storagedevices_") && !line.starts_with("| `process_");
   });
   EXPECT_EQ(manual, rows);
}

TEST(MetricDefinitionsTest, KeepsToTheRulesOfNames) {
   for (MetricDefinition const * const metric : Metric::all) {
      std::string_view const name = metric->name;
      EXPECT_TRUE(name.starts_with("storagedevices_") || name.starts_with("process_")) << name;
      EXPECT_EQ(name.ends_with("_total"), metric->type == Metric::Counter) << name;
      std::string_view const help = metric->help;
      EXPECT_TRUE(help.ends_with('.') && help.find_first_of("\\\n") == std::string_view::npos) << help;
   }
}

class ServedMetricsTest : public Support::MetricsOf<Support::MountedDisk> {};

// A unit with a disk that has everything. It is no real one: no disk has each kind of record.
TEST_F(ServedMetricsTest, HasAllThatAreDefinedInTheirOrder) {
   ASSERT_TRUE(begins());
   oneTestGoesBy();
   diskIs(BusType::nvme);
   Support::DiskFields{.mountPoint = folder.string(), .busType = BusType::nvme}.writeTo(*entities.devices);
   for (StorageDevices::NvmeField const & field : StorageDevices::nvmeFields)
      (nvme().*field.set)({field.key, 1});
   smart().unknownAttrIs({});
   entities.ioStat->ioStatDataIs(serial);
   entities.ioStat->ioStatData(serial)->recordMeasurement(1000, 1, 2);
   nvme().reading.countInc();
   auto const run = Pelm::make<Brul::FinishedRun>();
   run->argv = {"nvme"};
   tracker->finishedRunIs(run);
   stalls.last = Stall{.duration = 5, .operation = "fsync", .path = "/mnt/drive", .utc = 0};
   std::vector<std::string> served;
   std::istringstream lines{text()};
   for (std::string line; std::getline(lines, line);)
      if (line.starts_with("# TYPE "))
         served.push_back(line.substr(7));
   std::vector<std::string> defined;
   for (MetricDefinition const * const metric : Metric::all)
      defined.push_back(std::string{metric->name} + " " + wordOf(metric->type));
   EXPECT_EQ(served, defined);
}

}  // namespace
}  // namespace Agent
