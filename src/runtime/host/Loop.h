// Runs the reactor thread. It calls all handlers of all machines, one at a time.
//
// The thread that runs turns is the reactor thread. Everything in the installed headers is for this thread
// alone, except where its comment names others.
#pragma once

#include <functional>

#include "runtime/Export.h"
#include "runtime/Vorn/Seconds.h"

namespace Vorn::Host {

enum class Turn {
   worked,  // something was ready or due, or virtual time has jumped
   idle,    // the wait ended without an event
};

// One turn. It waits at most `maxWait` real seconds for an event and notifies the ready descriptors (bounded,
// so that none starves another). Then it calls the due clock reactors. In virtual time it waits only for
// running child processes; when nothing is ready it jumps to the next deadline.
VORN_API Turn turn(Vorn::Seconds maxWait = Vorn::Seconds::infinity());

// For a host with an event loop of its own: the descriptor is readable while a turn has something to do, a
// due clock included. Whenever it is, call `turn(0)`, and never `run`. It belongs to the runtime and stays
// the same. A host that replaces the source of time does so first. Raises std::system_error where the kernel
// refuses a timer.
VORN_API int loopDescriptor();

// Whether `stop()` was called since the last run.
VORN_API bool stopRequested();
// Runs turns until `stop()`; returns at once after an earlier `stop()`.
VORN_API void run();
// Takes effect at the end of the running turn. Reactor thread only.
VORN_API void stop();

// Runs turns until `done()`, or until framework time reaches `deadline`. Answers the last result of `done()`.
VORN_API bool runUntil(std::function<bool()> const & done, Vorn::Seconds deadline);
// Runs turns until framework time is `span` later.
VORN_API void runFor(Vorn::Seconds span);

}  // namespace Vorn::Host
