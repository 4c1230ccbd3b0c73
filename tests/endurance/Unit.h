// The unit under test: the whole library with a simulated appliance, in virtual time.
//
// Discovery sees the devices of a umockdev test bed and receives their events. Tools answer without
// processes, since a year has two million runs. Mounts come from the script. The file system tests use real
// folders and files in memory.
#pragma once

#include <memory>
#include <vector>

#include "tests/endurance/Observed.h"
#include "tests/endurance/World.h"

namespace Endurance {

class Unit {
 public:
   // The clocks stand there at the beginning. One unit at a time.
   Unit(double now, double utc);
   ~Unit();

   void start();
   // Runs the loop until that time; then everything that was due has happened.
   void advance(double time);
   double now() const;
   void apply(Event const & event);

   // Those since the last call.
   std::vector<Message> takeMessages();
   // Evaluates the verdicts.
   Verdicts verdicts();
   // What machines have raised; empty: nothing.
   std::string const & failures() const;

 private:
   class State;
   std::unique_ptr<State> state_;
};

}  // namespace Endurance
