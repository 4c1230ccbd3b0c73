// Creates machines.
#pragma once

#include <utility>

#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Failure.h"

namespace Vorn {

// Constructs the machine, calls its `handleInitialized()`, and then answers it, so that no constructor makes
// a virtual call. If `handleInitialized()` raises, the machine is answered uninitialised. If the constructor
// raises, the answer is null. Either failure goes to the host's failure sink, and none to the caller. The
// machine runs as long as the caller keeps the pointer.
template <class Machine, class... Args>
Pelm::Ptr<Machine> makeMachine(Args &&... args) {
   Pelm::Ptr<Machine> machine;
   guarded<Machine>([&] { machine = Pelm::make<Machine>(std::forward<Args>(args)...); });
   if (machine)
      guarded<Machine>([&] { machine->handleInitialized(); });
   return machine;
}

}  // namespace Vorn
