// The signals that end the demo, as a descriptor.
#pragma once

#include <csignal>

#include "base/SignalFd.h"

namespace Demo {

// To be made before any thread is started: it blocks SIGINT, SIGTERM and SIGHUP, and ignores SIGPIPE.
class Signals {
 public:
   Signals() { std::signal(SIGPIPE, SIG_IGN); }

   // Readable as soon as one of them has come.
   int descriptor() const { return signals_.get(); }
   // Whether one has come.
   bool raised() { return raised_ = raised_ || signals_.next(); }

 private:
   Base::SignalFd signals_{SIGINT, SIGTERM, SIGHUP};
   bool raised_ = false;
};

}  // namespace Demo
