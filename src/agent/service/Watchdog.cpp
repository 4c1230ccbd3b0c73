#include "agent/service/Watchdog.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <exception>
#include <system_error>

#include "runtime/Vorn/Seconds.h"
#include "runtime/host/Activity.h"
#include "runtime/host/TimeSource.h"

namespace Agent {

Watchdog::Watchdog(AgentLog & log, ServiceManager const & manager)
    : log_{log}, manager_{manager}, stop_{eventfd(0, EFD_CLOEXEC)} {
   if (!stop_)
      throw std::system_error{errno, std::generic_category(), "eventfd"};
   thread_.emplace([this] { run(); });
}

Watchdog::~Watchdog() {
   eventfd_write(stop_.get(), 1);
}

Stalls Watchdog::stalls() const {
   std::lock_guard const lock{mutex_};
   return watch_.stalls();
}

void Watchdog::run() {
   Vorn::Seconds const never = Vorn::Seconds::infinity();
   Vorn::Seconds const keepAlivePause = manager_.patience() ? *manager_.patience() / 4 : never;
   Vorn::Seconds nextSample;
   Vorn::Seconds nextKeepAlive = manager_.patience() ? Vorn::Seconds{} : never;
   Vorn::Seconds now;
   do {
      now = Vorn::Host::monotonicSeconds();
      if (now >= nextSample) {
         sampleSafely(Vorn::Host::activity(), now);
         nextSample = now + watch_.pause();
      }
      if (now >= nextKeepAlive) {
         if (!watch_.isOverdue())
            manager_.notify("WATCHDOG=1");
         nextKeepAlive = now + keepAlivePause;
      }
   } while (!stopsWithin(std::min(nextSample, nextKeepAlive) - now));
   Vorn::Host::Activity stopping = Vorn::Host::activity();
   stopping.busy = false;  // the caller of the destructor runs, so the loop is not stalled
   sampleSafely(stopping, Vorn::Host::monotonicSeconds());
}

void Watchdog::sampleSafely(Vorn::Host::Activity const & activity, Vorn::Seconds now) noexcept {
   try {
      sample(activity, now);
   } catch (std::exception const &) {  // no memory; the next sample may find some
   }
}

void Watchdog::sample(Vorn::Host::Activity const & activity, Vorn::Seconds now) {
   LoopWatch::Sample sample{activity, now, {}};
   Vorn::Seconds const age = Vorn::Host::timeSource().spanOf(now - activity.since);
   sample.utcOfTurn = Vorn::System::currentTimeUtc() - age;
   std::optional<LoopWatch::Line> line;
   {
      std::lock_guard const lock{mutex_};
      line = watch_.add(sample);
   }
   if (line)
      log_.notice(line->severity, line->text);
}

bool Watchdog::stopsWithin(Vorn::Seconds span) const {
   pollfd stop{stop_.get(), POLLIN, 0};
   return poll(&stop, 1, static_cast<int>(std::ceil(std::max(span.value(), 0.0) * 1e3))) > 0;
}

}  // namespace Agent
