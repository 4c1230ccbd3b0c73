// Converts the list of drives to the library's layout: one object per namespace in "Devices".
#pragma once

#include <string>

#include "nvme-compat/JsonIndex.h"

namespace NvmeCompat {

// The text of the list with "Devices" flat. Versions that nest it ("Subsystems", in them "Controllers" and
// "Namespaces") name a namespace without "/dev/". Its identity is that of its controller or, with multipath,
// of the first controller or path of its subsystem.
//
// A "PhysicalSize" in quotes or with a fraction becomes a whole number. Some versions write all numbers as
// signed 32 bits: for any size -2147483648 (on other processors 2147483647), and the lower 32 bits of
// "MaximumLBA". Then the size is computed from these bits, if exactly one drive of whole gigabytes has them.
// Otherwise it becomes null, since a wrong size is worse than none.
std::string listLayout(JsonIndex const & json);

}  // namespace NvmeCompat
