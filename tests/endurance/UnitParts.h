// What the unit under test is made of: its devices, its configuration, the lines of its kernel.
#pragma once

#include <filesystem>
#include <string>

#include "agent/config/Config.h"
#include "simulation/SimulatedUnit.h"
#include "tests/endurance/World.h"

namespace Endurance {

// The disk that is, or was last, at that place.
StorageDevices::Simulation::Disk deviceOf(PlaceState const & place);

// With sensors for the drives that are in their places now.
Agent::Config configOf(std::filesystem::path const & folder, std::filesystem::path const & etc,
                       World const & world);

// A line of the named form about the disk there; of any other name, one that says nothing of disks.
std::string kernelLine(PlaceState const & place, std::string const & form);

}  // namespace Endurance
