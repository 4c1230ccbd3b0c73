// A time or a span of time in seconds, stored as a double: a time since 1970 has a resolution of 0.24
// microseconds. Its unit is clear from the type; of which clock it is, the name or its comment says.
#pragma once

#include <compare>
#include <iosfwd>
#include <limits>

#include "runtime/Export.h"

namespace Vorn {

class Seconds {
 public:
   constexpr Seconds() = default;
   // Implicit, so that a constant stands for a span. The way back is `value()` alone.
   constexpr explicit(false) Seconds(double value) : value_{value} {}

   // "Never", as the wake-up time of a clock.
   static constexpr Seconds infinity() { return std::numeric_limits<double>::infinity(); }

   constexpr double value() const { return value_; }

   constexpr Seconds operator+(Seconds other) const { return value_ + other.value_; }
   constexpr Seconds operator-(Seconds other) const { return value_ - other.value_; }
   constexpr Seconds operator*(double factor) const { return value_ * factor; }
   constexpr Seconds operator/(double factor) const { return value_ / factor; }
   constexpr Seconds & operator+=(Seconds other) { return *this = *this + other; }
   constexpr Seconds & operator-=(Seconds other) { return *this = *this - other; }
   // NOLINTNEXTLINE(modernize-use-nullptr): it takes a zero that the compiler makes up for a pointer.
   constexpr auto operator<=>(Seconds const &) const = default;

 private:
   double value_ = 0;
};

// The number alone, as a trace shows it.
VORN_API std::ostream & operator<<(std::ostream & stream, Seconds seconds);

namespace System {
// The activity manager's monotonic time, from the host's source (host/TimeSource.h). It is live: two readings
// in one handler may differ. Corrections of the wall clock do not affect it.
VORN_API Seconds currentTime();
// Wall-clock UTC since 1970. It may jump either way. A host that scales time scales this too.
VORN_API Seconds currentTimeUtc();
}  // namespace System

}  // namespace Vorn
