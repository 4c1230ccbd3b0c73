// The life of a simulated appliance: what happens to its disks, and what the agent must then say.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "agent/demo/ApplianceState.h"
#include "agent/simulation/SimulatedUnit.h"

namespace Agent::Demo {

struct Step {
   std::string text;
   std::function<void(Simulation::SimulatedUnit &)> act;
   std::function<bool(ApplianceState const &)> reached;
   std::chrono::seconds deadline{10};
};

// The mounts of the unit's own disks.
std::vector<std::string> const & expectedMounts();

// The disks, tools and appliance files with which the unit boots; before the agent starts.
void bootUnit(Simulation::SimulatedUnit & unit);

// In the last step the unit is as at boot, so that the story can be told again.
std::vector<Step> const & story();

}  // namespace Agent::Demo
