// Waiting in real time, for other processes and threads. A test in virtual time waits by
// `VirtualTimeTest::eventually`.
#pragma once

#include <chrono>
#include <functional>

#include "runtime/host/Loop.h"

namespace Support {

// Calls `step` until the condition holds, for `limit` of real time at most. Answers whether it holds.
inline bool waitInRealTime(std::function<bool()> const & condition, std::function<void()> const & step,
                           std::chrono::milliseconds limit = std::chrono::seconds{20}) {
   auto const deadline = std::chrono::steady_clock::now() + limit;
   while (!condition() && std::chrono::steady_clock::now() < deadline)
      step();
   return condition();
}

// The same by turns of the loop, without advancing virtual time. The condition need not be an event of the
// loop.
inline bool turnInRealTime(std::function<bool()> const & condition,
                           std::chrono::milliseconds limit = std::chrono::seconds{20}) {
   return waitInRealTime(
       condition, [] { Vorn::Host::turn(0.02); }, limit);
}

}  // namespace Support
