#include "StorageDevices/Module.h"

#include "StorageDevices/LogCatalogue.h"

namespace StorageDevices {

Vorn::Module const & module() {
   static constexpr Vorn::Module instance{"StorageDevices", Catalogue::all};
   return instance;
}

namespace {
// A library none of whose sources logs still shows its catalogue.
[[maybe_unused]] bool const registered = Vorn::vornModuleIs(module());
}  // namespace

}  // namespace StorageDevices
