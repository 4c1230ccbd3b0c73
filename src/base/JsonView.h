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

// Whether arrays and objects lie inside each other so deep that a walk through them might exceed the stack.
inline bool isTooDeep(std::string_view text) {
   constexpr int most = 512;
   int depth = 0;
   bool isInText = false;
   for (std::size_t at = 0; at < text.size() && depth <= most; ++at) {
      char const c = text[at];
      if (isInText && c == '\\')
         ++at;
      else if (c == '"')
         isInText = !isInText;
      else if (!isInText)
         depth += (c == '[' || c == '{' ? 1 : 0) - (c == ']' || c == '}' ? 1 : 0);
   }
   return depth > most;
}

// Raises std::runtime_error with one line that names what was to be read for a text that is not JSON, or
// nested too deep.
inline rapidjson::Document parsedJson(std::string_view text, char const * what) {
   rapidjson::Document document;
   if (isTooDeep(text))
      throw std::runtime_error{std::string{"the agent's "} + what + " is nested too deep to be read"};
   // Iterative, which needs no stack. A text that is no UTF-8 could not be written again.
   document.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(text.data(),
                                                                                          text.size());
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
