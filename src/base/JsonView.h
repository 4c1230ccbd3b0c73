// Reads JSON documents of unknown contents: a member that is missing or of another type is absent.
#pragma once

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Base {

// Raises std::runtime_error with one line that names what was to be read for a text that is not JSON.
inline rapidjson::Document parsedJson(std::string_view text, char const * what) {
   rapidjson::Document document;
   // Iterative: however deep a document is nested, parsing it needs no more stack.
   document.Parse<rapidjson::kParseIterativeFlag>(text.data(), text.size());
   if (document.HasParseError())
      throw std::runtime_error{std::string{"the agent's "} + what + " cannot be read as JSON: " +
                               rapidjson::GetParseError_En(document.GetParseError()) + " (at byte " +
                               std::to_string(document.GetErrorOffset()) + ")"};
   return document;
}

// Null unless `value` is an object with such a member.
inline rapidjson::Value const * jsonMember(rapidjson::Value const * value, std::string_view name) {
   if (value == nullptr || !value->IsObject())
      return nullptr;
   rapidjson::Value const key{rapidjson::StringRef(name.data(), name.size())};
   auto const member = value->FindMember(key);
   return member == value->MemberEnd() ? nullptr : &member->value;
}

// The elements of an array; none of any other value, or of null.
inline std::span<rapidjson::Value const> jsonElements(rapidjson::Value const * value) {
   if (value == nullptr || !value->IsArray())
      return {};
   return {value->Begin(), value->Size()};
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

}  // namespace Base
