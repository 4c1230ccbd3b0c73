// Registration of a library of monitors, when it is loaded.
#pragma once

#include <span>
#include <vector>

#include "runtime/Export.h"
#include "runtime/Vorn/Log.h"

namespace Vorn {

struct Module {
   char const * name;
   std::span<LogDescriptor const> logDescriptors;  // its message catalogue, in order
};

// Every source file of the library calls this before it creates its log handles. A registered module stays as
// it is. Answers true, for use in a static initialiser.
VORN_API bool vornModuleIs(Module const & module);

// For the host: the modules registered so far.
VORN_API std::vector<Module const *> const & modules();

}  // namespace Vorn
