// Watches the loop from a thread of its own. It reports a stall of the loop and its cause in the log.
// While there is none it sends keep-alives to the service manager. It reads only the activity that the loop
// publishes (runtime/host/Activity.h), so a stall of the loop cannot stall it.
#pragma once

#include <mutex>
#include <optional>

#include "agent/logs/AgentLog.h"
#include "agent/service/LoopWatch.h"
#include "agent/service/ServiceManager.h"
#include "base/HelperThread.h"
#include "base/UniqueFd.h"

namespace Agent {

class Watchdog {
 public:
   // Starts the thread, which receives no signals. Raises std::system_error where the system refuses it. The
   // host must not replace the source of framework time while the watchdog exists.
   Watchdog(AgentLog & log, ServiceManager const & manager);
   // Ends the thread at once. Reports the end of a stall that it has reported.
   ~Watchdog();

   // Those that were reported so far. Any thread may call it.
   Stalls stalls() const;

 private:
   void run();
   // Where memory ends, the sample is lost; the keep-alives continue.
   void sampleSafely(Vorn::Host::Activity const & activity, Vorn::Seconds now) noexcept;
   void sample(Vorn::Host::Activity const & activity, Vorn::Seconds now);
   bool stopsWithin(Vorn::Seconds span) const;

   AgentLog & log_;
   ServiceManager const & manager_;
   Base::UniqueFd stop_;
   mutable std::mutex mutex_;  // of `watch_`, the only member that two threads use; locked for moments
   LoopWatch watch_;
   std::optional<Base::HelperThread> thread_;  // ends before what it uses
};

}  // namespace Agent
