// A scrape of 10 and of 1,000 disks, SATA drives with 26 rows each, everything read: the most series that a
// disk has. The loop must not lose more than 2 ms by the first, and 10 ms in one piece by the second. The
// floor formats the same samples and nothing else.
#include <algorithm>
#include <charconv>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Ratio.h"
#include "agent/documents/Metrics.h"
#include "tests/support/DiskFields.h"

namespace {

using StorageDevices::SmartAttr;

constexpr std::size_t rowsOfADisk = 26;

SmartAttr row(std::size_t number) {
   SmartAttr attr;
   attr.id = static_cast<std::uint8_t>(number);
   attr.name = "Some_Row_Of_The_Table_" + std::to_string(number);
   attr.value = 100;
   attr.worst = 98;
   attr.raw = static_cast<std::int64_t>(number) * 1'000'003;
   return attr;
}

class Unit {
 public:
   explicit Unit(std::size_t disks) {
      for (std::size_t number = 0; number < disks; ++number)
         addDisk("KS" + std::to_string(240118000 + number));
   }

   std::unique_ptr<Agent::Document> scrape() {
      verdicts_.evaluate();
      return Agent::metricsDocument(
          {{true, 0, entities_, {}, tools_, readings_, verdicts_}, messages_, {}, 0});
   }
   void evaluate() { verdicts_.evaluate(); }

 private:
   void addDisk(std::string const & serial) {
      Support::DiskFields{.name = serial, .mountPoint = "/mnt/" + serial}.writeTo(*entities_.devices);
      entities_.smart->deviceDataIs(serial);
      auto & smart = *entities_.smart->deviceData(serial);
      smart.healthStatusOkIs(true);
      smart.healthStatusReadIs(true);
      for (std::size_t number = 1; number <= rowsOfADisk; ++number)
         smart.unknownAttrIs(row(number));
      smart.reading.countInc();
      entities_.ioStat->ioStatDataIs(serial);
      auto & use = *entities_.ioStat->ioStatData(serial);
      use.recordMeasurement(Vorn::System::currentTime(), 1'234'567'890'123, 190'000'000'000'000);
      use.reading.countInc();
   }

   Agent::Entities entities_;
   Agent::Config::VerdictLimits limits_;
   Agent::Readings readings_{entities_};
   Agent::Verdicts verdicts_{entities_, limits_, readings_, [] { return nullptr; }, [] { return true; }};
   Agent::ToolRuns tools_{Pelm::make<Brul::ChildProcessTrackerSm>()};
   Agent::MessageStore messages_;
};

// Reads a scrape to its end. Answers its text, and the seconds of its longest piece, the first one with all
// that precedes it.
std::pair<std::string, double> read(Unit & unit) {
   std::string text;
   std::unique_ptr<Agent::Document> document;
   std::string_view piece;
   double longest = Bench::secondsOf([&] {
      document = unit.scrape();
      piece = document->next();
   });
   while (!piece.empty()) {
      text += piece;
      longest = std::max(longest, Bench::secondsOf([&] { piece = document->next(); }));
   }
   return {std::move(text), longest};
}

struct Sample {
   std::string series;
   double value;
};

std::vector<Sample> samplesOf(std::string const & text) {
   std::vector<Sample> samples;
   for (std::size_t at = 0, end = 0; at < text.size(); at = end + 1) {
      end = text.find('\n', at);
      std::string const line = text.substr(at, end - at);
      std::size_t const blank = line.rfind(' ');
      if (!line.starts_with('#'))
         samples.push_back({line.substr(0, blank), std::stod(line.substr(blank))});
   }
   return samples;
}

std::string formatted(std::vector<Sample> const & samples) {
   std::string text;
   char number[32];
   for (Sample const & sample : samples) {
      text += sample.series;
      text += ' ';
      text.append(number, std::to_chars(std::begin(number), std::end(number), sample.value).ptr);
      text += '\n';
   }
   return text;
}

void compare(Bench::Report & report, std::size_t disks, std::size_t rounds, bool isSmall) {
   enum : std::size_t { whole, piece, floor, verdicts, twoMs, tenMs };
   Unit unit{disks};
   std::vector<Sample> const samples = samplesOf(read(unit).first);
   if (samples.size() < disks * rowsOfADisk * 4)
      throw std::runtime_error("series are missing");
   std::string const name =
       "metrics: " + std::to_string(disks) + " disks, " + std::to_string(samples.size()) + " series, ";
   auto const measured = Bench::compete(
       {[&] { return Bench::secondsOf([&] { read(unit); }); }, [&] { return read(unit).second; },
        [&] { return Bench::secondsOf([&] { formatted(samples); }); },
        [&] { return Bench::secondsOf([&] { unit.evaluate(); }); }, [] { return 2e-3; },
        [] { return 10e-3; }},
       rounds);
   if (isSmall)
      report.claim(name + "beside 2 ms", measured, whole, twoMs, 1);
   report.claim(name + "longest piece, beside 10 ms", measured, piece, tenMs, 1);
   Bench::Report::note(name + "beside formatting", measured, whole, floor);
   Bench::Report::note(name + "of it the verdicts", measured, verdicts, whole);
}

}  // namespace

int main() {
   Bench::Report report;
   compare(report, 10, 301, true);
   compare(report, 1000, 21, false);
   return report.exitCode();
}
