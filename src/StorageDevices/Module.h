// The library's entry in the runtime's list of modules.
#pragma once

#include "runtime/Vorn/Module.h"

namespace StorageDevices {

// Name and message catalogue. Registered when the library is loaded.
Vorn::Module const & module();

}  // namespace StorageDevices
