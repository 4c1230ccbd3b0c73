#include "command/Quantity.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>

namespace Command {

namespace {

constexpr double minute = 60;
constexpr double hour = 60 * minute;
constexpr double day = 24 * hour;

std::string whole(double value, char const * unit) {
   std::array<char, 64> text{};
   std::snprintf(text.data(), text.size(), "%.0f %s", std::floor(value), unit);
   return text.data();
}

}  // namespace

std::string spanText(double seconds) {
   if (!(seconds >= 1))
      return "0 s";
   if (seconds < minute)
      return whole(seconds, "s");
   if (seconds < hour)
      return whole(seconds / minute, "min");
   if (seconds < 2 * day)
      return whole(seconds / hour, "h");
   return seconds < 1e15 ? whole(seconds / day, "d") : "";
}

std::string bytesText(double bytes) {
   constexpr std::array units{"B", "kB", "MB", "GB", "TB", "PB", "EB", "ZB"};
   constexpr double largest = 1e24;
   if (!(bytes >= 0 && bytes < largest))
      return {};
   std::size_t unit = 0;
   // What would be rounded to 1000 is 1 of the next.
   while (bytes >= 999.5 && unit + 1 < units.size()) {
      bytes /= 1000;
      ++unit;
   }
   std::array<char, 64> text{};
   bool const tenths = unit > 0 && bytes < 9.95;
   std::snprintf(text.data(), text.size(), "%.*f %s", tenths ? 1 : 0, bytes, units.at(unit));
   return text.data();
}

}  // namespace Command
