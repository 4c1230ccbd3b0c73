// Turns the signals that control the agent into events of the loop.
#pragma once

#include <functional>

#include "base/SignalFd.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/FileDescriptor.h"
#include "runtime/Vorn/Notifiee.h"

namespace Agent {

// While it exists, SIGTERM, SIGINT, SIGQUIT, SIGUSR1, SIGUSR2 and SIGALRM stop the loop, and SIGHUP calls
// `reload` in a turn of the loop. When its terminal closes, the kernel sends SIGHUP too; that stops the loop,
// unless SIGHUP was ignored at the start. SIGPIPE and SIGXFSZ are ignored, so that a failed write is an error
// of the call. Construct it before any thread starts that receives signals.
class Signals {
 public:
   explicit Signals(std::function<void()> reload);
   ~Signals();

 private:
   void handleSignal();

   std::function<void()> reload_;
   bool endsWithTerminal_;
   Base::SignalFd control_;
   Pelm::Ptr<Vorn::FileDescriptor> signals_ = Pelm::make<Vorn::FileDescriptor>("signals");
   Vorn::NotifieeConst reactor_;
};

}  // namespace Agent
