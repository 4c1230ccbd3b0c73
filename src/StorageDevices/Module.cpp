#include "StorageDevices/Module.h"

#include <syslog.h>

#include "StorageDevices/LogCatalogue.h"

namespace StorageDevices {

// The header is for hosts, which the system's macros would get in the way of.
static_assert(Catalogue::error == LOG_ERR && Catalogue::warning == LOG_WARNING &&
              Catalogue::informational == LOG_INFO);

Vorn::Module const & module() {
   static constexpr Vorn::Module instance{"StorageDevices", Catalogue::all};
   return instance;
}

namespace {
// A library none of whose sources logs still shows its catalogue.
[[maybe_unused]] bool const registered = Vorn::vornModuleIs(module());
}  // namespace

}  // namespace StorageDevices
