// What the tools of the unit print.
#pragma once

#include <string>
#include <vector>

#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "tests/endurance/World.h"

namespace Endurance {

// The outcome of a run. Noise is the same for the same disk at the same health.
Brul::SubstitutedRun runOf(PlaceState const & place, Tool tool);

// Size of every disk, in blocks of 512 bytes.
inline constexpr std::uint64_t diskSectors = 468750000;

}  // namespace Endurance
