// Writes JSON. Every text becomes valid UTF-8. Characters beyond ASCII are written as \uNNNN, since some of
// them control a terminal that shows the document.
#pragma once

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <string>
#include <string_view>
#include <type_traits>

#include "base/JsonMemory.h"
#include "base/Text.h"

namespace Base {

using JsonBuffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, JsonMemory>;
using JsonWriter = rapidjson::Writer<JsonBuffer, rapidjson::UTF8<>, rapidjson::ASCII<>, JsonMemory>;

// A longer text is cut. No regular device, tool or kernel line has more.
inline constexpr std::size_t longestText = 4096;  // bytes

// Escapes DEL, which the writer leaves as it is: the only control character that JSON allows.
inline std::string withoutDel(JsonBuffer const & json) {
   std::string text;
   for (char const c : std::string_view{json.GetString(), json.GetSize()})
      c == '\x7f' ? text += "\\u007f" : text += c;
   return text;
}

inline void writeText(JsonWriter & writer, std::string_view text, std::size_t longest = longestText) {
   std::string const valid = validUtf8(text.substr(0, longest));
   auto const size = static_cast<rapidjson::SizeType>(valid.size());
   if (valid.find('\x7f') == std::string::npos) {
      writer.String(valid.data(), size);
      return;
   }
   JsonBuffer quoted;
   JsonWriter{quoted}.String(valid.data(), size);
   std::string const json = withoutDel(quoted);
   writer.RawValue(json.data(), json.size(), rapidjson::kStringType);
}

// Writes a truth value or a number.
template <class Number>
requires std::is_arithmetic_v<Number>
void writeValue(JsonWriter & writer, Number number) {
   if constexpr (std::is_same_v<Number, bool>)
      writer.Bool(number);
   else if constexpr (std::is_floating_point_v<Number>)
      writer.Double(number);
   else if constexpr (std::is_signed_v<Number>)
      writer.Int64(number);
   else
      writer.Uint64(number);
}

template <class Number>
requires std::is_arithmetic_v<Number>
void writeMember(JsonWriter & writer, char const * key, Number number) {
   writer.Key(key);
   writeValue(writer, number);
}

inline void writeMember(JsonWriter & writer, char const * key, std::string_view text,
                        std::size_t longest = longestText) {
   writer.Key(key);
   writeText(writer, text, longest);
}

}  // namespace Base
