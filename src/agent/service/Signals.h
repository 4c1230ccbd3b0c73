// The signals that steer the agent, as events of the loop.
#pragma once

#include <functional>

#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/FileDescriptor.h"
#include "runtime/Vorn/Notifiee.h"

namespace Agent {

// While it lives SIGTERM, SIGINT, SIGQUIT, SIGUSR1, SIGUSR2 and SIGALRM stop the loop, and SIGHUP calls
// `reload` from it. The SIGHUP of a terminal that goes stops the loop too, unless it was ignored before:
// nothing must stay behind then. SIGPIPE and SIGXFSZ are ignored, so that what cannot be written is an error
// of the write. Made before any thread is started.
class Signals {
 public:
   explicit Signals(std::function<void()> reload);
   Signals(Signals const &) = delete;
   Signals & operator=(Signals const &) = delete;
   ~Signals();

 private:
   void handleSignal();

   std::function<void()> reload_;
   bool endsWithItsTerminal_;
   Pelm::Ptr<Vorn::FileDescriptor> signals_ = Pelm::make<Vorn::FileDescriptor>("signals");
   Vorn::NotifieeConst reactor_;
};

}  // namespace Agent
