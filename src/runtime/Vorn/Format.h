// printf-like formatting into a string, and the text of numbers.
#pragma once

#include <cstdint>

#include "runtime/Export.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Seconds.h"

namespace Vorn {

// The compiler checks the arguments against the format, which must be a literal. A text of any length.
// Numbers follow the process's locale.
VORN_API Pelm::String _fmt(char const * format, ...) __attribute__((format(printf, 1, 2)));

// Decimal text of a number, as log messages print it, whatever the locale. A double has the fewest digits
// that identify it, with an exponent where that is shorter; it may be "inf" or "nan".
VORN_API Pelm::String valueToString(int value);
VORN_API Pelm::String valueToString(unsigned value);
VORN_API Pelm::String valueToString(long value);
VORN_API Pelm::String valueToString(unsigned long value);
VORN_API Pelm::String valueToString(long long value);
VORN_API Pelm::String valueToString(unsigned long long value);
VORN_API Pelm::String valueToString(double value);
VORN_API Pelm::String valueToString(Seconds value);

}  // namespace Vorn
