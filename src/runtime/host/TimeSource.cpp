#include "runtime/host/TimeSource.h"

#include "runtime/Vorn/HostSide.h"
#include "runtime/Vorn/KernelClock.h"

namespace Vorn::Host {

namespace {

std::unique_ptr<TimeSource> & current() {
   static auto * const source = new std::unique_ptr<TimeSource>{std::make_unique<RealTime>()};
   return *source;
}

}  // namespace

TimeSource::~TimeSource() = default;

void TimeSource::jumpTo(Vorn::Seconds) {}

RealTime::RealTime(double scale)
    : scale_{scale}, monotonicStart_{kernelTime(CLOCK_MONOTONIC)}, utcStart_{kernelTime(CLOCK_REALTIME)} {}

Vorn::Seconds RealTime::now() {
   Vorn::Seconds const monotonic = kernelTime(CLOCK_MONOTONIC);
   return scale_ == 1.0 ? monotonic : monotonicStart_ + (monotonic - monotonicStart_) * scale_;
}

Vorn::Seconds RealTime::utc() {
   // Without a scale, it follows corrections of the wall clock.
   return scale_ == 1.0 ? kernelTime(CLOCK_REALTIME) : utcStart_ + (now() - monotonicStart_);
}

Vorn::Seconds VirtualTime::now() {
   Vorn::Seconds const reading = now_;
   now_ += step_;
   utc_ += step_;
   return reading;
}

void VirtualTime::jumpTo(Vorn::Seconds deadline) {
   if (now_ < deadline)
      jumpBy(deadline - now_);
}

void VirtualTime::jumpBy(Vorn::Seconds span) {
   now_ += span;
   utc_ += span;
}

void timeSourceIs(std::unique_ptr<TimeSource> source) {
   current() = source ? std::move(source) : std::make_unique<RealTime>();
}

TimeSource & timeSource() {
   return *current();
}

Vorn::Seconds monotonicSeconds() {
   return kernelTime(CLOCK_MONOTONIC);
}

}  // namespace Vorn::Host

namespace Vorn::System {

Seconds currentTime() {
   return Vorn::Host::timeSource().now();
}

Seconds currentTimeUtc() {
   return Vorn::Host::timeSource().utc();
}

}  // namespace Vorn::System

Vorn::Seconds Vorn::HostSide::spanOf(Seconds real) {
   return Vorn::Host::timeSource().spanOf(real);
}
