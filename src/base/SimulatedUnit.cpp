#include "base/SimulatedUnit.h"

#include <cstdlib>

namespace Base {

std::optional<std::string> simulatedRoot() {
   char const * const folder = std::getenv(simulatedRootVariable);
   return folder != nullptr && *folder != '\0' ? std::optional<std::string>{folder} : std::nullopt;
}

}  // namespace Base
