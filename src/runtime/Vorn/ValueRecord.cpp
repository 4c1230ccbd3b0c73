#include "runtime/Vorn/ValueRecord.h"

#include <charconv>

namespace Vorn::detail {

namespace {

constexpr char hexDigits[] = "0123456789abcdef";

bool isControl(unsigned char byte) {
   return byte < 0x20 || byte == 0x7f;
}

// Removes the code behind a backslash from the front of the text, and decodes it.
bool takeEscaped(std::string_view & text, char & byte) {
   if (text.empty())
      return false;
   byte = text.front();
   text.remove_prefix(1);
   if (byte != 'x')
      return true;
   unsigned char code = 0;
   if (text.size() < 2 || std::from_chars(text.data(), text.data() + 2, code, 16).ptr != text.data() + 2)
      return false;
   byte = static_cast<char>(code);
   text.remove_prefix(2);
   return true;
}

}  // namespace

void putValue(std::string & text, Pelm::String const & value) {
   text += '"';
   for (char const c : value) {
      auto const byte = static_cast<unsigned char>(c);
      if (isControl(byte))
         text.append("\\x") += {hexDigits[byte >> 4U], hexDigits[byte & 0xFU]};
      else
         (c == '"' || c == '\\' ? text += '\\' : text) += c;
   }
   text += '"';
}

void putValue(std::string & text, std::uint64_t value) {
   text += std::to_string(value);
}

void putValue(std::string & text, bool value) {
   text += value ? "true" : "false";
}

bool takeLiteral(std::string_view & text, std::string_view literal) {
   if (!text.starts_with(literal))
      return false;
   text.remove_prefix(literal.size());
   return true;
}

bool takeValue(std::string_view & text, Pelm::String & value) {
   if (!takeLiteral(text, "\""))
      return false;
   std::string bytes;
   while (!text.empty()) {
      char byte = text.front();
      text.remove_prefix(1);
      if (byte == '"') {
         value = std::move(bytes);
         return true;
      }
      if (byte == '\\' && !takeEscaped(text, byte))
         return false;
      bytes += byte;
   }
   return false;
}

bool takeValue(std::string_view & text, std::uint64_t & value, std::uint64_t max) {
   auto const result = std::from_chars(text.data(), text.data() + text.size(), value);
   if (result.ec != std::errc{} || value > max)
      return false;
   text.remove_prefix(static_cast<std::size_t>(result.ptr - text.data()));
   return true;
}

bool takeValue(std::string_view & text, bool & value) {
   value = text.starts_with("true");
   return takeLiteral(text, value ? "true" : "false");
}

}  // namespace Vorn::detail
