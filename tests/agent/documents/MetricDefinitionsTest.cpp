#include "agent/documents/MetricDefinitions.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/agent/documents/MetricsTest.h"
#include "tests/support/MountedDisk.h"

namespace Agent {
namespace {

std::string labelsOf(MetricDefinition const & metric, std::string const & separator) {
   std::string text;
   for (char const * const label : metric.labels)
      if (label)
         text += (text.empty() ? "" : separator) + std::string{label};
   return text;
}

// What `line` makes of each definition.
template <class Line>
std::vector<std::string> linesOfAll(Line line) {
   std::vector<std::string> lines;
   std::transform(Metric::all.begin(), Metric::all.end(), std::back_inserter(lines),
                  [&line](MetricDefinition const * metric) { return line(*metric); });
   return lines;
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
   auto const defined = linesOfAll([](MetricDefinition const & metric) {
      return std::string{metric.name} + " " + typeWord(metric.type) + " {" + labelsOf(metric, ",") + "}";
   });
   EXPECT_EQ(defined, linesOf(TEST_DATA_DIR "/metrics/contract.txt"));
}

// Agents of many versions stand under one set of rules. So a file of a released version never changes.
TEST(MetricDefinitionsTest, KeepsWhatEachReleasedVersionServes) {
   auto const contract = linesOf(TEST_DATA_DIR "/metrics/contract.txt");
   std::size_t files = 0;
   for (auto const & entry : std::filesystem::directory_iterator{TEST_DATA_DIR "/metrics"}) {
      if (!entry.path().filename().string().starts_with("released-"))
         continue;
      ++files;
      for (std::string const & line : linesOf(entry.path()))
         EXPECT_EQ(std::count(contract.begin(), contract.end(), line), 1) << line << " of " << entry.path();
   }
   EXPECT_GE(files, 1U);
}

TEST(MetricDefinitionsTest, MatchesTheManual) {
   auto const rows = linesOfAll([](MetricDefinition const & metric) {
      std::string const labels = labelsOf(metric, "`, `");
      return "| `" + std::string{metric.name} + "` | " + typeWord(metric.type) + " | " +
             (labels.empty() ? "" : "`" + labels + "`") + " | " + metric.help + " |";
   });
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
   EXPECT_EQ(served, linesOfAll([](MetricDefinition const & metric) {
                return std::string{metric.name} + " " + typeWord(metric.type);
             }));
}

}  // namespace
}  // namespace Agent
