// What the unit must do in a run in which one call fails, and the judgement of it.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>

#include "tests/faults/Appliance.h"

namespace Faults {

struct Trial {
   std::optional<Fault> fault;
   unsigned long allocation = 0;

   std::string name() const;
};

// Where an undisturbed run made calls.
struct Survey {
   std::map<std::string, unsigned long> places;
   std::map<int, unsigned long> others;  // calls that never fail here, by number
};

struct Outcome {
   std::string wrong;            // empty: the unit recovered
   bool reached = false;         // the call was made
   bool refused = false;         // the agent ended at its start, with a line that says why
   std::string callers;          // of the allocation that failed
   std::size_t descriptors = 0;  // of the agent at rest
};

// Plays the scenario. `descriptors` is what the agent has open at rest when nothing fails; 0: not known yet.
Outcome play(Appliance & appliance, Trial const & trial, std::size_t descriptors, Survey * survey = nullptr);

}  // namespace Faults
