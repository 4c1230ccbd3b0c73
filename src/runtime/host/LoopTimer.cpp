#include "runtime/host/LoopTimer.h"

#include <sys/timerfd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <system_error>

#include "runtime/Vorn/ActivityManager.h"
#include "runtime/Vorn/Breadcrumb.h"
#include "runtime/Vorn/FileDescriptor.h"
#include "runtime/Vorn/HostSide.h"
#include "runtime/Vorn/Poller.h"
#include "runtime/host/TimeSource.h"

namespace Vorn::Host::LoopTimer {

namespace {

constexpr Seconds never = 0;        // disarms a timerfd
constexpr Seconds atOnce = 1e-9;    // the shortest span that does not
constexpr Seconds longest = 86400;  // a span that every clock can count; then it is armed again

// Null until a host asks for the loop's descriptor. Never destroyed, like the poller that watches it.
FileDescriptor * timer = nullptr;
int turns = 0;  // under way

// Real time until a turn has something to do.
Seconds untilWork() {
   if (Poller::instance().hasUnpollable())
      return atOnce;
   Seconds const next = activityManager().config()->clock()->nextTime();
   double const scale = timeSource().realSecondsPerSecond();
   bool const waitsForChildren = scale == 0 && activityManager().outsideWork() > 0;
   if (next == Seconds::infinity() || waitsForChildren)
      return never;
   // An overdue clock may be infinitely so, and virtual time takes no real seconds: their product is no
   // number.
   Seconds const now = System::currentTime();
   return next <= now || scale == 0 ? atOnce : std::clamp((next - now) * scale, atOnce, longest);
}

// Forgets an expiry that nobody has read.
void armFor(Seconds span) {
   itimerspec request{};
   request.it_value.tv_sec = static_cast<time_t>(span.value());
   // Rounded down: a turn that comes too early arms it for the rest.
   request.it_value.tv_nsec = static_cast<long>((span.value() - std::floor(span.value())) * 1e9);
   timerfd_settime(timer->descriptor(), 0, &request, nullptr);
}

void arm() {
   armFor(untilWork());
}

}  // namespace

void make() {
   if (timer)
      return;
   int const fd = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
   if (fd < 0)
      throw std::system_error{errno, std::generic_category(), "timerfd_create"};
   static auto * const kept = new Pelm::Ptr<FileDescriptor>{Pelm::make<FileDescriptor>("loopTimer")};
   (*kept)->descriptorIs(fd);
   (*kept)->notifyOnReadableIs(true);
   timer = kept->get();
   arm();
}

Turn::Turn() {
   // The loop counts what is ready, and the timer is no work.
   if (turns++ == 0 && timer)
      armFor(never);
}

Turn::~Turn() {
   --turns;
   if (!timer || turns > 0)
      return;
   arm();
   // The host waits from here on, not the loop.
   Breadcrumb::instance().beginWait();
}

}  // namespace Vorn::Host::LoopTimer

void Vorn::HostSide::workChanged() {
   if (Host::LoopTimer::timer && Host::LoopTimer::turns == 0)
      Host::LoopTimer::arm();
}
