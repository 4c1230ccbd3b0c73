// Discovery of any number of eMMC devices, which it identifies without a tool, on a simulated unit.
#pragma once

#include <cstddef>
#include <memory>

#include "bench/growth/Cost.h"

namespace Bench {

// One at a time, under umockdev-wrapper.
class GrowingBed {
 public:
   GrowingBed();
   ~GrowingBed();
   GrowingBed(GrowingBed const &) = delete;
   GrowingBed & operator=(GrowingBed const &) = delete;

   // Plugs more of them, up to that number.
   void disksAre(std::size_t disks);
   // From the start of the monitor until it knows all of them. The programs that match the paths are not in
   // it: they are processes of their own.
   Cost discovery() const;

 private:
   class State;
   std::unique_ptr<State> state_;
};

}  // namespace Bench
