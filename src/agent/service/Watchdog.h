// Watches the loop from a thread of its own: tells on standard error what holds it, and the service manager,
// as long as it is not held, that the agent is alive. It reads what the loop publishes of itself
// (runtime/host/Activity.h) and touches nothing else of it, so that nothing that holds the loop holds it too.
#pragma once

#include <pthread.h>

#include <mutex>

#include "agent/logs/StderrLog.h"
#include "agent/service/LoopWatch.h"
#include "agent/service/ServiceManager.h"

namespace Agent {

class Watchdog {
 public:
   // Starts the thread, which takes no signals; raises std::system_error where the system refuses it. The
   // source of framework time must not be replaced while it lives.
   Watchdog(StderrLog & log, ServiceManager const & manager);
   Watchdog(Watchdog const &) = delete;
   Watchdog & operator=(Watchdog const &) = delete;
   // Ends the thread at once. A hold that was told has ended then, and that is told too.
   ~Watchdog();

   Holds holds() const;

 private:
   static void * runThread(void * self);
   void run();
   // A line for which there is no memory is lost.
   void lookSafely(Host::Activity const & seen, double now) noexcept;
   void look(Host::Activity const & seen, double now);
   bool stopsWithin(double seconds) const;

   StderrLog & log_;
   ServiceManager const & manager_;
   int stop_;
   mutable std::mutex mutex_;  // held for moments; of the members, only `watch_` is shared
   LoopWatch watch_;
   pthread_t thread_{};
};

}  // namespace Agent
