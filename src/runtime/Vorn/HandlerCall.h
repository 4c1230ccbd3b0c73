// How the runtime calls a machine's handler.
#pragma once

#include <concepts>
#include <utility>

#include "runtime/Pelm/Node.h"
#include "runtime/Vorn/Failure.h"

namespace Vorn {

// Calls `action` on behalf of a machine, which stays whole until it returns: a Pelm::Node, also when its last
// user goes meanwhile; any other machine must see to that itself. What it raises is reported as the machine's
// failure, and the caller goes on.
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
