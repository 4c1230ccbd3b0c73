// How the runtime calls a machine's handler.
#pragma once

#include <concepts>
#include <utility>

#include "runtime/Pelm/Node.h"
#include "runtime/Vorn/Failure.h"

namespace Vorn {

// Calls `action` on behalf of a machine, which stays whole until it returns. What it raises is reported as
// the machine's failure.
template <class Machine, class Action>
[[gnu::always_inline]] inline void callHandler(Machine & machine, Action && action) noexcept {
   if constexpr (std::derived_from<Machine, Pelm::Node>) {
      Pelm::KeepAlive const keepAlive{machine};
      guarded<Machine>(std::forward<Action>(action));
   } else {
      guarded<Machine>(std::forward<Action>(action));
   }
}

}  // namespace Vorn
