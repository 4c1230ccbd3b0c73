#include "runtime/Vorn/Optional.h"

namespace Vorn {

char const * BadOptionalAccess::what() const noexcept {
   return "an optional value was read while empty";
}

void detail::raiseBadOptionalAccess() {
   throw BadOptionalAccess{};
}

}  // namespace Vorn
