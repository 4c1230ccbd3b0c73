#include "nvme-compat/WholeNumber.h"

#include <algorithm>
#include <limits>
#include <string>

namespace NvmeCompat {

namespace {

constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
constexpr std::string_view decimalDigits = "0123456789";

bool isDigit(char c) {
   return c >= '0' && c <= '9';
}

bool isNumber(std::string_view text) {
   return !text.empty() && text.find_first_not_of(decimalDigits) == std::string_view::npos;
}

std::int64_t withDigit(std::int64_t number, char digit) {
   std::int64_t const value = digit - '0';
   return number > (largest - value) / 10 ? largest : number * 10 + value;
}

std::int64_t saturated(std::string_view digits) {
   std::int64_t number = 0;
   for (char const digit : digits)
      number = withDigit(number, digit);
   return number;
}

// The value of the digits with a point behind the first `whole` of them, which the exponent has shifted.
std::int64_t shifted(std::string_view digits, std::int64_t whole) {
   if (whole <= 0)
      return 0;
   std::int64_t number = saturated(digits.substr(0, static_cast<std::size_t>(whole)));
   for (auto places = static_cast<std::int64_t>(digits.size()); places < whole; ++places) {
      if (number == 0 || number == largest)
         break;
      number = withDigit(number, '0');
   }
   return number;
}

// The number behind an "e", bounded so that it can be added to a length.
std::optional<std::int64_t> exponentOf(std::string_view text) {
   constexpr std::int64_t bound = std::int64_t{1} << 40U;
   bool const negative = text.starts_with('-');
   if (negative || text.starts_with('+'))
      text.remove_prefix(1);
   if (!isNumber(text))
      return std::nullopt;
   std::int64_t const size = std::min(saturated(text), bound);
   return negative ? -size : size;
}

// The length of a separator that is never part of a number's value: blank, apostrophe, no-break space,
// thin space, right quotation mark, narrow no-break space.
std::size_t separatorAt(std::string_view text) {
   for (std::string_view const separator :
        {" ", "'", "\xC2\xA0", "\xE2\x80\x89", "\xE2\x80\x99", "\xE2\x80\xAF"})
      if (text.starts_with(separator))
         return separator.size();
   return 0;
}

// The text without separators between digits: digits, points and commas. Nothing if it has other characters.
std::optional<std::string> withoutSeparators(std::string_view text) {
   std::string result;
   while (!text.empty()) {
      if (isDigit(text.front()) || text.front() == '.' || text.front() == ',') {
         result += text.front();
         text.remove_prefix(1);
         continue;
      }
      std::size_t const length = separatorAt(text);
      if (length == 0 || length == text.size() || !isDigit(text[length]) || result.empty() ||
          !isDigit(result.back()))
         return std::nullopt;
      text.remove_prefix(length);
   }
   return result;
}

// "1,234,567": one to three digits, not beginning with zero, then groups of three.
bool isGrouped(std::string_view text, char separator) {
   std::size_t const first = text.find(separator);
   if (first == 0 || first > 3 || text.front() == '0')
      return false;
   for (std::size_t i = 0; i < text.size(); ++i)
      if ((i >= first && (i - first) % 4 == 0) != (text[i] == separator) ||
          (text[i] != separator && !isDigit(text[i])))
         return false;
   return (text.size() - first) % 4 == 0;
}

std::optional<std::int64_t> ofGroups(std::string_view text, char separator) {
   if (isNumber(text))
      return saturated(text);
   if (!isGrouped(text, separator))
      return std::nullopt;
   std::string digits(text);
   digits.erase(std::remove(digits.begin(), digits.end(), separator), digits.end());
   return saturated(digits);
}

}  // namespace

std::optional<std::int64_t> truncatedJsonNumber(std::string_view jsonNumber) {
   std::size_t const e = jsonNumber.find_first_of("eE");
   std::string_view const number = jsonNumber.substr(0, e);
   auto const exponent =
       e == std::string_view::npos ? std::optional<std::int64_t>{0} : exponentOf(jsonNumber.substr(e + 1));
   std::size_t const point = std::min(number.find('.'), number.size());
   std::string digits(number.substr(0, point));
   if (point < number.size())
      digits += number.substr(point + 1);
   if (!exponent || !isNumber(digits))
      return std::nullopt;
   return shifted(digits, static_cast<std::int64_t>(point) + *exponent);
}

std::optional<std::int64_t> truncatedQuotedNumber(std::string_view text) {
   auto const plain = withoutSeparators(text);
   if (!plain)
      return std::nullopt;
   std::string_view const number = *plain;
   std::size_t const last = number.find_last_of(".,");
   if (last == std::string_view::npos)
      return ofGroups(number, ',');
   char const mark = number[last];
   char const other = mark == '.' ? ',' : '.';
   if (isGrouped(number, mark))
      return ofGroups(number, mark);
   bool const isDecimal = number.find(mark) == last && isNumber(number.substr(last + 1));
   return isDecimal ? ofGroups(number.substr(0, last), other) : std::nullopt;
}

}  // namespace NvmeCompat
