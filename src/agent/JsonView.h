// Reading a JSON document that may not be what it should: what is missing or of another type is absent.
#pragma once

#include <rapidjson/document.h>

#include <optional>
#include <string>
#include <string_view>

namespace Agent {

// Null unless `value` is an object with such a member.
inline rapidjson::Value const * jsonMember(rapidjson::Value const * value, std::string_view name) {
   if (value == nullptr || !value->IsObject())
      return nullptr;
   rapidjson::Value const key{rapidjson::StringRef(name.data(), name.size())};
   auto const member = value->FindMember(key);
   return member == value->MemberEnd() ? nullptr : &member->value;
}

inline std::string_view jsonText(rapidjson::Value const & value) {
   return value.IsString() ? std::string_view{value.GetString(), value.GetStringLength()}
                           : std::string_view{};
}

// Empty when absent.
inline std::string jsonText(rapidjson::Value const * value, std::string_view name) {
   auto const * member = jsonMember(value, name);
   return member == nullptr ? std::string{} : std::string{jsonText(*member)};
}

inline std::optional<double> jsonNumber(rapidjson::Value const * value, std::string_view name) {
   auto const * member = jsonMember(value, name);
   return member == nullptr || !member->IsNumber() ? std::nullopt : std::optional{member->GetDouble()};
}

inline std::optional<bool> jsonBool(rapidjson::Value const * value, std::string_view name) {
   auto const * member = jsonMember(value, name);
   return member == nullptr || !member->IsBool() ? std::nullopt : std::optional{member->GetBool()};
}

}  // namespace Agent
