// Signals as a descriptor that becomes readable.
#pragma once

#include <sys/signalfd.h>

#include <csignal>
#include <initializer_list>
#include <optional>

#include "base/UniqueFd.h"

namespace Base {

// Blocks the signals while it exists, so construct it before any thread starts that does not block them.
// Those that came and were not read are dropped in the end: their default action would end the process.
class SignalFd {
 public:
   // Throws std::system_error.
   explicit SignalFd(std::initializer_list<int> signals);
   SignalFd(SignalFd const &) = delete;
   SignalFd & operator=(SignalFd const &) = delete;
   ~SignalFd();

   int get() const { return fd_.get(); }
   // The next signal that has come; empty without one.
   std::optional<signalfd_siginfo> next() const;

 private:
   sigset_t signals_{};
   UniqueFd fd_;
};

}  // namespace Base
