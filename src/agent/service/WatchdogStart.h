// Starts the watchdog. Where the system refuses its thread, the refusal is reported once. Attempts follow
// after 1, 2, 4 seconds and so on, up to a minute. Meanwhile the loop itself sends the service manager's
// keep-alives; a stalled loop sends none.
#pragma once

#include <functional>
#include <memory>

#include "agent/logs/AgentLog.h"
#include "agent/service/ServiceManager.h"
#include "agent/service/Watchdog.h"
#include "runtime/Vorn/Clock.h"

namespace Agent {

class WatchdogStart {
 public:
   // Raises std::system_error where the system refuses the watchdog.
   using Make = std::function<std::unique_ptr<Watchdog>()>;

   WatchdogStart(AgentLog & log, ServiceManager const & manager);
   WatchdogStart(AgentLog & log, ServiceManager const & manager, Make make);

   // Those that the watchdog reported; none before it runs.
   Stalls stalls() const { return watchdog_ ? watchdog_->stalls() : Stalls{}; }

 private:
   void start();
   void handleRefusal(std::system_error const & error);

   AgentLog & log_;
   ServiceManager const & manager_;
   Make make_;
   bool refused_ = false;
   Vorn::Seconds wait_;  // before the next attempt, real time
   std::unique_ptr<Watchdog> watchdog_;
   Vorn::Clock::Notifiee<&WatchdogStart::start> clock_;
};

}  // namespace Agent
