#include "StorageDevices/Module.h"

#include <syslog.h>

#include "StorageDevices/LogCatalogue.h"

namespace StorageDevices {

// The catalogue's header does not include the system's macros, which could disturb a host's code.
static_assert(Catalogue::error == LOG_ERR && Catalogue::warning == LOG_WARNING &&
              Catalogue::informational == LOG_INFO);

Vorn::Module const & module() {
   static constexpr Vorn::Module instance{"StorageDevices", Catalogue::all};
   return instance;
}

namespace {
// Registers the catalogue even before any source logs.
[[maybe_unused]] bool const catalogueRegistered = Vorn::vornModuleIs(module());
}  // namespace

}  // namespace StorageDevices
