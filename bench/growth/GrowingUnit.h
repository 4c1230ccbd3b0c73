// The library with any number of SATA disks in virtual time, and what the agent makes of them. Tools answer
// without processes; nothing is mounted.
#pragma once

#include <cstddef>
#include <memory>

#include "bench/growth/Cost.h"

namespace Bench {

class GrowingUnit {
 public:
   explicit GrowingUnit(std::size_t disks);
   ~GrowingUnit();
   GrowingUnit(GrowingUnit const &) = delete;
   GrowingUnit & operator=(GrowingUnit const &) = delete;

   // A poll of every disk: its tool, its statistics, and all that follows from the readings.
   Cost poll();
   // Each disk goes and comes again, with all monitors subscribed.
   Cost storm();
   // Every disk has gone; the agent forgets them all. They come again, which does not count.
   Cost prune();
   // The document with the verdicts before it.
   Cost state();
   Cost scrape();
   // Every disk's verdict changes, and a reader of the events is sent all of it.
   Cost page();

 private:
   class State;
   std::unique_ptr<State> state_;
};

}  // namespace Bench
