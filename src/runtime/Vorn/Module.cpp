#include "runtime/Vorn/Module.h"

#include <algorithm>

namespace Vorn {

namespace {

std::vector<Module const *> & registered() {
   static auto * const instance = new std::vector<Module const *>;
   return *instance;
}

}  // namespace

bool vornModuleIs(Module const & module) {
   auto & all = registered();
   if (std::find(all.begin(), all.end(), &module) == all.end())
      all.push_back(&module);
   return true;
}

std::vector<Module const *> const & modules() {
   return registered();
}

}  // namespace Vorn
