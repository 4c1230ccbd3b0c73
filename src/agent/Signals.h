// SIGTERM, SIGINT and SIGHUP as events of the loop.
#pragma once

#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/FileDescriptor.h"
#include "runtime/Vorn/Notifiee.h"

namespace Agent {

// While it lives the two signals are blocked and stop the loop instead; SIGPIPE is ignored. Made
// before any thread is started.
class TerminationSignals {
 public:
   TerminationSignals();
   TerminationSignals(TerminationSignals const &) = delete;
   TerminationSignals & operator=(TerminationSignals const &) = delete;
   ~TerminationSignals();

 private:
   void handleSignal();

   Pelm::Ptr<Vorn::FileDescriptor> signals_ = Pelm::make<Vorn::FileDescriptor>("signals");
   Vorn::NotifieeConst reactor_;
};

}  // namespace Agent
