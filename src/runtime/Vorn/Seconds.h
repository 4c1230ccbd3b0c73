// A time or a span of time in seconds, stored as a double.
#pragma once

#include <compare>
#include <iosfwd>
#include <limits>

#include "runtime/Export.h"

namespace Vorn {

class Seconds {
 public:
   constexpr Seconds() = default;
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
RUNTIME_API std::ostream & operator<<(std::ostream & stream, Seconds seconds);

namespace System {
// The activity manager's monotonic time. It is live: two readings in one handler may differ.
RUNTIME_API Seconds currentTime();
// Wall-clock UTC since 1970.
RUNTIME_API Seconds currentTimeUtc();
}  // namespace System

}  // namespace Vorn
