// The timer that makes the loop's descriptor readable when a clock is due. Used by the loop alone.
#pragma once

namespace Vorn::Host::LoopTimer {

// Makes the timer, once, and arms it. Raises std::system_error where the kernel refuses one.
void make();

// For its scope the timer keeps still; at the end it is armed for what the turn has left. Nothing before
// `make`.
class Turn {
 public:
   Turn();
   ~Turn();
   Turn(Turn const &) = delete;
   Turn & operator=(Turn const &) = delete;
};

}  // namespace Vorn::Host::LoopTimer
