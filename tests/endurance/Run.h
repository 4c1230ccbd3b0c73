// One run of the unit beside the model.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/endurance/Script.h"

namespace Endurance {

// What the process holds.
struct Holdings {
   double time = 0;           // seconds since the start
   std::size_t resident = 0;  // KiB
   std::size_t descriptors = 0;
   std::size_t children = 0;
};

struct Outcome {
   std::string difference;                       // between the unit and the model; empty: none
   double time = 0;                              // of the difference or the end, seconds since the start
   std::map<std::string, std::size_t> messages;  // by name
   std::set<std::string> reasons;                // that disks had
   std::size_t verdicts = 0;                     // changes
   std::vector<Holdings> holdings;               // each thirty days
};

// Runs the script for a span of virtual seconds, or to the first difference. `progress` gets the time
// reached.
Outcome run(Script const & script, double span, std::function<void(double time)> const & progress = nullptr);

}  // namespace Endurance
