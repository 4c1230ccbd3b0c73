// The life of a simulated appliance: events on its disks, and the state that the agent must then report.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "demo/ApplianceState.h"
#include "simulation/SimulatedUnit.h"

namespace Demo {

struct Step {
   std::string text;
   std::function<void(StorageDevices::Simulation::SimulatedUnit &)> act;
   std::function<bool(ApplianceState const &)> reached;
   // The time that the agent may take: real seconds for its work, and its waits by its own clock.
   std::chrono::seconds deadline{10};
   std::chrono::seconds agentTime{120};
   // The agent is stopped before the act and restarted after it.
   bool reboots = false;
   // Left out where no folder for the file systems takes direct I/O.
   bool needsDirectIo = false;
};

using Chapter = std::vector<Step>;

// The mounts of the unit's own disks.
std::vector<std::string> const & expectedMounts();

// The disks, file systems, tools and appliance files with which the unit boots; before the agent starts.
void bootUnit(StorageDevices::Simulation::SimulatedUnit & unit);

// In the last step the unit boots again and is as at first, so that the story can be played again.
std::vector<Step> const & story();

// In this order.
Chapter discoveryChapter();
Chapter wearChapter();
Chapter fileSystemChapter();
Chapter failureChapter();
Chapter replacementChapter();
Chapter bootChapter();

}  // namespace Demo
