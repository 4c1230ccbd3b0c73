// The list of drives: one object per namespace in "Devices", as the library reads it.
#pragma once

#include <string>

#include "nvme-compat/JsonIndex.h"

namespace Agent::Compat {

// The text of the list with "Devices" flat. Versions that nest it ("Subsystems", in them "Controllers" and
// "Namespaces") name a namespace without "/dev/"; its identity is that of the controller that it belongs to
// or, with multipath, of the first controller or path of its subsystem.
//
// A "PhysicalSize" in quotes or with a fraction becomes a whole number. Versions that wrote all numbers as
// signed 32 bits give -2147483648, or 2147483647 on other processors, whatever the size, and of "MaximumLBA"
// the lower 32 bits. There the size is computed from those where a single count of sectors that is a whole
// number of gigabytes, as drives are made, has these bits; elsewhere it becomes null, since a wrong size is
// worse than none.
std::string listLayout(JsonIndex const & json);

}  // namespace Agent::Compat
