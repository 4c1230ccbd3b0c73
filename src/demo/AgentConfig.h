// The configuration with which the demo's agent runs.
#pragma once

#include <filesystem>
#include <string>

#include "demo/Options.h"
#include "simulation/SimulatedUnit.h"

namespace Demo {

struct AgentConfig {
   std::filesystem::path file;
   std::filesystem::path statusSocket;
};

// Where the agent reads the kernel's messages.
std::filesystem::path kernelSocket(StorageDevices::Simulation::SimulatedUnit const & unit);

// Writes the configuration into the unit's folder, where the agent's sockets go too. Throws
// std::runtime_error when it cannot.
AgentConfig writeAgentConfig(StorageDevices::Simulation::SimulatedUnit const & unit, Options const & options);

}  // namespace Demo
