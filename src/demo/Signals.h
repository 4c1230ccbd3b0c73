// The signals that end the demo, as a descriptor.
#pragma once

namespace Agent::Demo {

// To be made before any thread is started: it blocks SIGINT, SIGTERM and SIGHUP, and ignores SIGPIPE.
class Signals {
 public:
   Signals();
   ~Signals();
   Signals(Signals const &) = delete;
   Signals & operator=(Signals const &) = delete;

   // Readable as soon as one of them has come.
   int descriptor() const { return descriptor_; }
   // Whether one has come.
   bool raised();

 private:
   int descriptor_;
   bool raised_ = false;
};

}  // namespace Agent::Demo
