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

inline void writeText(JsonWriter & writer, std::string_view text) {
   std::string const valid = validUtf8(text);
   writer.String(valid.data(), static_cast<rapidjson::SizeType>(valid.size()));
}

inline void writeKey(JsonWriter & writer, std::string_view key) {
   std::string const valid = validUtf8(key);
   writer.Key(valid.data(), static_cast<rapidjson::SizeType>(valid.size()));
}

inline void writeMember(JsonWriter & writer, char const * key, std::string_view text) {
   writer.Key(key);
   writeText(writer, text);
}

}  // namespace Agent
