// Writing JSON: every text becomes valid UTF-8 on the way. Whatever is not ASCII is written as \uNNNN: a
// document may be shown on a terminal, which some of these characters steer.
#pragma once

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <string>
#include <string_view>

#include "agent/Text.h"

namespace Agent {

using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer, rapidjson::UTF8<>, rapidjson::ASCII<>>;

// The writer leaves DEL as it is, the one control character that JSON allows.
inline std::string withoutDel(rapidjson::StringBuffer const & json) {
   std::string text;
   for (char const c : std::string_view{json.GetString(), json.GetSize()})
      c == '\x7f' ? text += "\\u007f" : text += c;
   return text;
}

inline void writeText(JsonWriter & writer, std::string_view text) {
   std::string const valid = validUtf8(text);
   auto const size = static_cast<rapidjson::SizeType>(valid.size());
   if (valid.find('\x7f') == std::string::npos) {
      writer.String(valid.data(), size);
      return;
   }
   rapidjson::StringBuffer quoted;
   JsonWriter{quoted}.String(valid.data(), size);
   std::string const json = withoutDel(quoted);
   writer.RawValue(json.data(), json.size(), rapidjson::kStringType);
}

// A name in an object and a text are written alike.
inline void writeKey(JsonWriter & writer, std::string_view key) {
   writeText(writer, key);
}

inline void writeMember(JsonWriter & writer, char const * key, std::string_view text) {
   writer.Key(key);
   writeText(writer, text);
}

}  // namespace Agent
