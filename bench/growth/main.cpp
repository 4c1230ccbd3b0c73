// How the cost of each operation grows with the number of disks: 10, 100, 1,000, 10,000.
//
//    umockdev-wrapper build/release/bench/growth_bench [OPERATION]
//
// Prints tables as Markdown. A cost is linear where a disk of 1,000 or of 10,000 costs at most 1.2 times what
// a disk of 100 costs; of ten disks most of the cost is fixed. What is asked of 1,000 disks holds the loop
// for less than 10 ms at a time. Fails when a bound is missed.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <functional>
#include <iterator>
#include <string_view>
#include <vector>

#include "bench/Ratio.h"
#include "bench/growth/GrowingBed.h"
#include "bench/growth/GrowingUnit.h"

namespace {

using Bench::Cost;
using Bench::GrowingBed;
using Bench::GrowingUnit;

constexpr std::size_t sizes[] = {10, 100, 1000, 10000};
constexpr std::size_t reference = 1;  // of 100 disks
constexpr double linear = 1.2;
constexpr double longestMs = 10;

struct Operation {
   char const * name;
   Cost (GrowingUnit::*run)();  // null: discovery, which has a bed of its own
   bool isAsked;                // by a client
};

constexpr Operation allOperations[] = {
    {"discovery", nullptr, false},
    {"poll", &GrowingUnit::poll, false},
    {"storm of notifications", &GrowingUnit::storm, false},
    {"prune", &GrowingUnit::prune, false},
    {"state document", &GrowingUnit::state, true},
    {"scrape", &GrowingUnit::scrape, true},
    {"page update", &GrowingUnit::page, true},
};

Cost median(std::vector<Cost> const & costs) {
   std::vector<double> all;
   std::vector<double> longest;
   for (Cost const & cost : costs) {
      all.push_back(cost.all);
      longest.push_back(cost.longest);
   }
   return {Bench::median(all), Bench::median(longest)};
}

// On a unit the agent's memory is not in the processor's caches when something happens after seconds of other
// work. With warm caches a disk of ten would cost a third of one of a thousand, by the size of the caches
// alone.
void emptyCaches() {
   static std::vector<char> other(std::size_t{96} << 20U);
   constexpr std::size_t line = 64;
   for (std::size_t at = 0; at < other.size(); at += line)
      ++other[at];
}

// One row per operation, one column per size.
using Table = std::vector<std::vector<Cost>>;

Cost measured(std::size_t size, std::function<Cost()> const & run) {
   std::vector<Cost> costs(size > 1000 ? 3 : 9);
   std::generate(costs.begin(), costs.end(), [&] {
      emptyCaches();
      return run();
   });
   return median(costs);
}

Table measure(std::vector<Operation> const & operations) {
   GrowingBed bed;
   Table table(operations.size());
   for (std::size_t const size : sizes) {
      for (std::size_t row = 0; row < table.size(); ++row)
         if (!operations[row].run) {
            bed.disksAre(size);
            table[row].push_back(measured(size, [&] { return bed.discovery(); }));
         }
      GrowingUnit unit{size};
      for (std::size_t row = 0; row < table.size(); ++row)
         if (auto const run = operations[row].run)
            table[row].push_back(measured(size, [&] { return (unit.*run)(); }));
   }
   return table;
}

bool printGrowth(std::vector<Operation> const & operations, Table const & table) {
   std::puts(
       "| microseconds a disk, of | 10 | 100 | 1,000 | 10,000 | beside 100 | |\n"
       "| --- | --- | --- | --- | --- | --- | --- |");
   bool good = true;
   for (std::size_t row = 0; row < table.size(); ++row) {
      std::vector<double> perDisk;
      for (std::size_t i = 0; i < std::size(sizes); ++i)
         perDisk.push_back(table[row][i].all / static_cast<double>(sizes[i]) * 1e6);
      double const ratio = *std::max_element(perDisk.begin() + reference, perDisk.end()) / perDisk[reference];
      std::printf("| %s |", operations[row].name);
      for (double const each : perDisk)
         std::printf(" %.2f |", each);
      std::printf(" %.2f | %s |\n", ratio, ratio <= linear ? "linear" : "**not linear**");
      good = good && ratio <= linear;
   }
   return good;
}

bool printLongest(std::vector<Operation> const & operations, Table const & table) {
   std::puts(
       "\n| longest piece (ms), of | 10 | 100 | 1,000 | 10,000 | |\n"
       "| --- | --- | --- | --- | --- | --- |");
   bool good = true;
   for (std::size_t row = 0; row < table.size(); ++row) {
      std::printf("| %s |", operations[row].name);
      for (Cost const & cost : table[row])
         std::printf(" %.2f |", cost.longest * 1e3);
      bool const keeps = !operations[row].isAsked || table[row][2].longest * 1e3 < longestMs;
      std::printf(" %s |\n", !operations[row].isAsked ? "" : keeps ? "good" : "**missed**");
      good = good && keeps;
   }
   return good;
}

}  // namespace

int main(int argc, char ** argv) {
   try {
      std::vector<Operation> operations;
      std::copy_if(
          std::begin(allOperations), std::end(allOperations), std::back_inserter(operations),
          [&](Operation const & each) { return argc < 2 || each.name == std::string_view{argv[1]}; });
      Table const table = measure(operations);
      bool const grows = printGrowth(operations, table);
      return printLongest(operations, table) && grows ? 0 : 1;
   } catch (std::exception const & error) {
      std::fprintf(stderr, "growth_bench: %s\n", error.what());
      return 2;
   }
}
