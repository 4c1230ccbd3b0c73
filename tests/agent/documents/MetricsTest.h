// A unit of records, and the metrics that are made of them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>

#include "agent/documents/Metrics.h"
#include "tests/support/DocumentText.h"

namespace Support {

// The samples of a text: each "name{labels}" with its value. A sample that comes twice is a failure.
inline std::map<std::string, std::string> samplesOf(std::string const & text) {
   std::map<std::string, std::string> samples;
   std::istringstream lines{text};
   for (std::string line; std::getline(lines, line);) {
      if (line.starts_with("#"))
         continue;
      std::size_t const end = line.rfind(' ');
      bool const isNew = samples.emplace(line.substr(0, end), line.substr(end + 1)).second;
      EXPECT_TRUE(isNew) << line;
   }
   return samples;
}

// `Unit` is UnitOfRecords or a fixture that is built on it.
template <class Unit>
class MetricsOf : public Unit {
 protected:
   std::string text() {
      this->verdicts.evaluate();
      Agent::StateSources const state{
          true,      0,           this->entities, {}, tools, this->readings, this->verdicts,
          keepers(), kernelLines, logLinesDropped};
      return documentText(*Agent::metricsDocument({state, messages, stalls, 400}));
   }
   Agent::RecordKeepers keepers() const {
      Agent::RecordKeepers keepers;
      keepers.mountPoints = this->manager.get();
      return keepers;
   }

   // The value of a sample as it is written; "(none)" without it.
   std::string value(std::string const & sample) {
      auto const samples = samplesOf(text());
      auto const found = samples.find(sample);
      return found == samples.end() ? "(none)" : found->second;
   }
   // Of the unit's one disk; `more` are further labels.
   std::string ofDisk(std::string const & name, std::string const & more = "") {
      return value("storagedevices_disk_" + name + "{serial=\"" + this->serial + "\"" +
                   (more.empty() ? "" : ",") + more + "}");
   }
   std::size_t seriesWith(std::string const & part) {
      auto const samples = samplesOf(text());
      return static_cast<std::size_t>(std::count_if(
          samples.begin(), samples.end(),
          [&part](auto const & sample) { return sample.first.find(part) != std::string::npos; }));
   }

   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker = Pelm::make<Brul::ChildProcessTrackerSm>();
   Agent::ToolRuns tools{tracker};
   Agent::MessageStore messages;
   Agent::Stalls stalls;
   std::optional<Agent::KernelLineCounts> kernelLines;
   std::uint64_t logLinesDropped = 0;
};

}  // namespace Support
