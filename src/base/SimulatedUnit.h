// How a process learns that a simulated unit takes the place of the mount points and log collectors here.
#pragma once

#include <optional>
#include <string>

namespace Base {

// The environment variable that names the unit's folder.
inline constexpr char simulatedRootVariable[] = "STORAGEDEVICES_SIMULATED_ROOT";

// The folder that the environment names; empty: it names none.
std::optional<std::string> simulatedRoot();

}  // namespace Base
