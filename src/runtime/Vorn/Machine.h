// The one way to make a machine.
#pragma once

#include <utility>

#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Failure.h"

namespace Vorn {

// Constructs the machine, then calls its `handleInitialized()`, and only then hands it out, so that
// no virtual call is made from a constructor. A machine whose `handleInitialized()` raised is handed
// out uninitialised; one whose constructor raised is null.
template <class Machine, class... Args>
Pelm::Ptr<Machine> makeMachine(Args &&... args) {
   Pelm::Ptr<Machine> machine;
   guarded<Machine>([&] { machine = Pelm::make<Machine>(std::forward<Args>(args)...); });
   if (machine)
      guarded<Machine>([&] { machine->handleInitialized(); });
   return machine;
}

}  // namespace Vorn
