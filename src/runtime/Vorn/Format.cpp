#include "runtime/Vorn/Format.h"

#include <array>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <string>

namespace Vorn {

namespace {

template <class Number>
Pelm::String decimal(Number value) {
   std::array<char, 64> text{};
   auto const result = std::to_chars(text.data(), text.data() + text.size(), value);
   return Pelm::String{std::string_view{text.data(), result.ptr}};
}

}  // namespace

Pelm::String _fmt(char const * format, ...) {
   va_list arguments;
   va_start(arguments, format);
   va_list again;
   va_copy(again, arguments);
   int const length = std::vsnprintf(nullptr, 0, format, arguments);
   va_end(arguments);
   std::string text(length > 0 ? static_cast<std::size_t>(length) : 0U, '\0');
   if (!text.empty())
      std::vsnprintf(text.data(), text.size() + 1, format, again);
   va_end(again);
   return text;
}

Pelm::String valueToString(int value) {
   return decimal(value);
}
Pelm::String valueToString(unsigned value) {
   return decimal(value);
}
Pelm::String valueToString(long value) {
   return decimal(value);
}
Pelm::String valueToString(unsigned long value) {
   return decimal(value);
}
Pelm::String valueToString(long long value) {
   return decimal(value);
}
Pelm::String valueToString(unsigned long long value) {
   return decimal(value);
}
Pelm::String valueToString(double value) {
   return decimal(value);
}
Pelm::String valueToString(Seconds value) {
   return decimal(value.value());
}

}  // namespace Vorn
