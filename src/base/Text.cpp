#include "base/Text.h"

#include <locale.h>
#include <wchar.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <ctime>

namespace Base {

namespace {

// A decoded character, or the bytes of an ill-formed sequence.
struct Decoded {
   char32_t point = 0;
   std::size_t length = 0;
   bool valid = false;
};

struct Range {
   char32_t first;
   char32_t last;
};

// Format characters, separators of lines and paragraphs, and other invisible characters. They change the
// writing direction, join and separate words, or hide in a name.
constexpr std::array unseen{
    Range{0x80, 0x9f},       Range{0xad, 0xad},       Range{0x34f, 0x34f},     Range{0x600, 0x605},
    Range{0x61c, 0x61c},     Range{0x6dd, 0x6dd},     Range{0x70f, 0x70f},     Range{0x890, 0x891},
    Range{0x8e2, 0x8e2},     Range{0x115f, 0x1160},   Range{0x17b4, 0x17b5},   Range{0x180b, 0x180f},
    Range{0x200b, 0x200f},   Range{0x2028, 0x202e},   Range{0x2060, 0x206f},   Range{0x3164, 0x3164},
    Range{0xfe00, 0xfe0f},   Range{0xfeff, 0xfeff},   Range{0xffa0, 0xffa0},   Range{0xfff0, 0xfffb},
    Range{0x110bd, 0x110bd}, Range{0x110cd, 0x110cd}, Range{0x13430, 0x1343f}, Range{0x1bca0, 0x1bca3},
    Range{0x1d173, 0x1d17a}, Range{0xe0000, 0xe0fff}};

template <std::size_t N>
bool isIn(std::array<Range, N> const & ranges, char32_t point) {
   return std::any_of(ranges.begin(), ranges.end(),
                      [point](Range range) { return point >= range.first && point <= range.last; });
}

bool isContinuation(char byte) {
   return (static_cast<unsigned char>(byte) & 0xc0U) == 0x80U;
}

// The number of bytes that follow a lead byte, and the range of the first of them. The range excludes
// overlong sequences, surrogates and characters above U+10FFFF.
struct Lead {
   std::size_t following = 0;
   unsigned char low = 0x80;
   unsigned char high = 0xbf;
};

Lead leadOf(unsigned char byte) {
   if (byte >= 0xc2 && byte <= 0xdf)
      return {1};
   if (byte >= 0xe0 && byte <= 0xef)
      return {2, static_cast<unsigned char>(byte == 0xe0 ? 0xa0 : 0x80),
              static_cast<unsigned char>(byte == 0xed ? 0x9f : 0xbf)};
   if (byte >= 0xf0 && byte <= 0xf4)
      return {3, static_cast<unsigned char>(byte == 0xf0 ? 0x90 : 0x80),
              static_cast<unsigned char>(byte == 0xf4 ? 0x8f : 0xbf)};
   return {};
}

Decoded decode(std::string_view text) {
   auto const first = static_cast<unsigned char>(text.front());
   if (first < 0x80)
      return {first, 1, true};
   Lead const lead = leadOf(first);
   if (lead.following == 0)
      return {0, 1, false};
   char32_t point = first & (0x3fU >> lead.following);
   for (std::size_t at = 1; at <= lead.following; ++at) {
      if (at >= text.size() || !isContinuation(text[at]))
         return {0, at, false};
      auto const byte = static_cast<unsigned char>(text[at]);
      if (at == 1 && (byte < lead.low || byte > lead.high))
         return {0, at, false};
      point = (point << 6U) | (byte & 0x3fU);
   }
   return {point, lead.following + 1, true};
}

template <class Visit>
void forEachCharacter(std::string_view text, Visit visit) {
   while (!text.empty()) {
      Decoded const decoded = decode(text);
      visit(decoded, text.substr(0, decoded.length));
      text.remove_prefix(decoded.length);
   }
}

std::string hexEscape(char kind, int digits, unsigned value) {
   std::array<char, 16> buffer{};
   std::snprintf(buffer.data(), buffer.size(), "\\%c%0*x", kind, digits, value);
   return buffer.data();
}

std::string escapedCharacter(char32_t point, std::string_view bytes) {
   if (point == '\n')
      return "\\n";
   if (point == '\r')
      return "\\r";
   if (point == '\t')
      return "\\t";
   if (point < 0x20 || point == 0x7f)
      return hexEscape('x', 2, point);
   if (isIn(unseen, point))
      return point > 0xffff ? hexEscape('U', 8, point) : hexEscape('u', 4, point);
   return std::string{bytes};
}

std::string escapedBytes(std::string_view bytes) {
   std::string result;
   for (char const byte : bytes)
      result += hexEscape('x', 2, static_cast<unsigned char>(byte));
   return result;
}

// Whether the text behind a backslash begins like an escaped byte: xNN.
bool readsAsByte(std::string_view text) {
   auto const isDigit = [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); };
   return text.size() >= 3 && text[0] == 'x' && isDigit(text[1]) && isDigit(text[2]);
}

// While it exists, libc measures characters by Unicode, whatever the user's locale. A system without that
// locale measures one cell for each.
class UnicodeWidths {
 public:
   UnicodeWidths() : before_{uselocale(unicode())} {}
   UnicodeWidths(UnicodeWidths const &) = delete;
   UnicodeWidths & operator=(UnicodeWidths const &) = delete;
   ~UnicodeWidths() { uselocale(before_); }

   std::size_t of(Decoded const & decoded) const {
      int const width = decoded.valid ? wcwidth(static_cast<wchar_t>(decoded.point)) : 1;
      return width < 0 ? 1 : static_cast<std::size_t>(width);
   }

 private:
   static locale_t unicode() {
      static locale_t const locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
      return locale;
   }

   locale_t before_;
};

}  // namespace

std::string escaped(std::string_view text) {
   std::string result;
   result.reserve(text.size());
   forEachCharacter(text, [&result](Decoded const & decoded, std::string_view bytes) {
      result += decoded.valid ? escapedCharacter(decoded.point, bytes) : escapedBytes(bytes);
   });
   return result;
}

std::string validUtf8(std::string_view text) {
   std::string result;
   result.reserve(text.size());
   std::string_view rest = text;
   forEachCharacter(text, [&](Decoded const & decoded, std::string_view bytes) {
      rest.remove_prefix(bytes.size());
      bool const isText = decoded.valid && !(decoded.point == '\\' && readsAsByte(rest));
      result += isText ? std::string{bytes} : escapedBytes(bytes);
   });
   return result;
}

std::size_t displayWidth(std::string_view text) {
   UnicodeWidths const widths;
   std::size_t width = 0;
   forEachCharacter(text, [&](Decoded const & decoded, std::string_view) { width += widths.of(decoded); });
   return width;
}

std::string cutToWidth(std::string_view text, std::size_t width) {
   // No character has more cells than bytes. Measuring loads a locale, which the daemon seldom needs.
   if (text.size() <= width || displayWidth(text) <= width)
      return std::string{text};
   if (width == 0)
      return {};
   UnicodeWidths const widths;
   std::string result;
   std::size_t used = 0;
   bool full = false;
   forEachCharacter(text, [&](Decoded const & decoded, std::string_view bytes) {
      full = full || used + widths.of(decoded) > width - 1;
      if (full)
         return;
      used += widths.of(decoded);
      result += bytes;
   });
   return result + "…";
}

std::string utcTime(double secondsSinceEpoch) {
   constexpr double yearZero = -62167219200.0;
   constexpr double yearTenThousand = 253402300800.0;
   double const milliseconds = std::round(secondsSinceEpoch * 1000.0);
   if (!(milliseconds >= yearZero * 1000.0 && milliseconds < yearTenThousand * 1000.0))
      return "-";
   auto const whole = static_cast<std::int64_t>(milliseconds);
   std::int64_t const part = ((whole % 1000) + 1000) % 1000;
   auto const seconds = static_cast<std::time_t>((whole - part) / 1000);
   std::tm fields{};
   if (gmtime_r(&seconds, &fields) == nullptr)
      return "-";
   std::array<char, 128> buffer{};
   std::snprintf(buffer.data(), buffer.size(), "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", fields.tm_year + 1900,
                 fields.tm_mon + 1, fields.tm_mday, fields.tm_hour, fields.tm_min, fields.tm_sec,
                 static_cast<int>(part));
   return buffer.data();
}

std::string_view severityWord(int severity) {
   constexpr std::array<std::string_view, 8> words{"emergency", "alert",  "critical", "error",
                                                   "warning",   "notice", "info",     "debug"};
   return severity >= 0 && severity < 8 ? words.at(static_cast<std::size_t>(severity)) : "unknown";
}

}  // namespace Base
