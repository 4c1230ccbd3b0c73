// Reads numbers.
#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

namespace Base {

// The decimal whole number that is the whole text: digits, after a minus sign where `Number` has one. Nothing
// for any other text, and for a number outside the range of `Number`.
template <class Number>
std::optional<Number> parseWhole(std::string_view text) {
   Number value = 0;
   char const * const end = text.data() + text.size();
   auto const result = std::from_chars(text.data(), end, value);
   return result.ec == std::errc{} && result.ptr == end ? std::optional{value} : std::nullopt;
}

}  // namespace Base
