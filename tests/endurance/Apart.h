// A run in a process of its own, so that one that crashes or hangs ends like others.
#pragma once

#include <functional>
#include <string>

namespace Endurance {

using Progress = std::function<void(double time)>;

struct End {
   bool good = false;
   std::string crash;  // how the process ended when it did not end by itself, else empty
   double time = 0;    // that the run has reported as its progress
};

// `act` answers whether the run is good. It is ended when it reports no progress
// for `patience` real seconds.
// Throws std::system_error when there is no process for it.
End runApart(std::function<bool(Progress const & progress)> const & act, unsigned patience);

}  // namespace Endurance
