#include "agent/service/WatchdogStart.h"

#include <syslog.h>

#include <algorithm>
#include <system_error>
#include <utility>

#include "runtime/Vorn/Seconds.h"
#include "runtime/Vorn/Shortage.h"
#include "runtime/host/TimeSource.h"

namespace Agent {

namespace {

constexpr Vorn::Seconds shortestWait = 1;
constexpr Vorn::Seconds longestWait = 60;

}  // namespace

WatchdogStart::WatchdogStart(AgentLog & log, ServiceManager const & manager)
    : WatchdogStart{log, manager, [&] { return std::make_unique<Watchdog>(log, manager); }} {}

WatchdogStart::WatchdogStart(AgentLog & log, ServiceManager const & manager, Make make)
    : log_{log},
      manager_{manager},
      make_{std::move(make)},
      wait_{shortestWait},
      clock_{*this, Vorn::Seconds::infinity()} {
   start();
}

void WatchdogStart::start() {
   try {
      watchdog_ = make_();
   } catch (std::system_error const & error) {
      handleRefusal(error);
      return;
   }
   if (refused_)
      log_.notice(LOG_INFO, "the watchdog has started");
}

void WatchdogStart::handleRefusal(std::system_error const & error) {
   Vorn::Seconds const longest = manager_.patience() ? *manager_.patience() / 4 : longestWait;
   clock_.timeMinIs(Vorn::System::currentTime() + Vorn::Host::timeSource().spanOf(std::min(wait_, longest)));
   wait_ = std::min(wait_ * 2, longestWait);
   if (manager_.patience())
      manager_.notify("WATCHDOG=1");
   if (!std::exchange(refused_, true))
      log_.notice(LOG_WARNING,
                  "the watchdog cannot be started and will be retried: " + Vorn::errorAndRemedy(error));
}

}  // namespace Agent
