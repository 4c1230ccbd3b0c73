#include "runtime/model/SmartAttr.h"

#include <charconv>
#include <optional>

namespace StorageDevices {

namespace {

constexpr std::int64_t coldest = -40;
constexpr std::int64_t hottest = 140;

// Nothing when the number is too long for a temperature.
std::optional<std::int64_t> temperature(SmartAttr const & attr) {
   std::string_view const text = attr.rawString.view();
   std::int64_t celsius = 0;
   auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), celsius);
   if (error == std::errc{})
      return celsius;
   if (error == std::errc::result_out_of_range)
      return std::nullopt;
   return attr.raw & 0xff;
}

}  // namespace

bool isValidSATATemp(SmartAttr const & attr) {
   auto const celsius = temperature(attr);
   return celsius && *celsius >= coldest && *celsius <= hottest;
}

std::int64_t useRawStringTemperature(SmartAttr const & attr) {
   return temperature(attr).value_or(0);
}

}  // namespace StorageDevices
