// Running the reactor thread. All handlers of all machines are called from here, one at a time.
#pragma once

#include <functional>

#include "runtime/Export.h"
#include "runtime/Vorn/Seconds.h"

namespace Host {

enum class Turn {
   worked,  // something was ready or due, or time has moved
   idle,    // the wait ended with nothing to do
};

// One turn: waits at most `maxWait` real seconds for what comes first, tells what is ready (bounded,
// so that no descriptor starves another), then calls the clocks that are due. In virtual time a turn
// never waits except for outside work (child processes): with nothing ready it jumps to the next
// deadline.
RUNTIME_API Turn turn(Vorn::Seconds maxWait = Vorn::Seconds::infinity());

// Whether `stop()` was called since the last run.
RUNTIME_API bool stopRequested();
// Turns until `stop()`; a stop that was asked for before returns at once.
RUNTIME_API void run();
// Takes effect at the end of the running turn. Reactor thread only.
RUNTIME_API void stop();

// Turns until `done()`, or until framework time reaches `deadline`; the last answer of `done()`.
RUNTIME_API bool runUntil(std::function<bool()> const & done, Vorn::Seconds deadline);
// Turns until framework time is `span` later, running everything that falls due on the way.
RUNTIME_API void runFor(Vorn::Seconds span);

}  // namespace Host
