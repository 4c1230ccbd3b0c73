// A handler that raises an exception affects only its own machine. The runtime catches the exception at the
// call, and reports it to the host's failure sink.
#pragma once

#include <typeinfo>
#include <utility>

#include "runtime/Export.h"

namespace Vorn {

namespace detail {
// Reports the exception that is being handled.
// Only inside a catch block.
VORN_API void reportFailure(std::type_info const & machine) noexcept;
}  // namespace detail

// Calls `action` on behalf of a machine; false when it raised. It lets no exception out, whatever its type.
// Unlike `callHandler` it keeps nothing alive.
template <class Machine, class Action>
[[gnu::always_inline]] inline bool guarded(Action && action) noexcept {
   try {
      std::forward<Action>(action)();
      return true;
   } catch (...) {
      detail::reportFailure(typeid(Machine));
      return false;
   }
}

}  // namespace Vorn
