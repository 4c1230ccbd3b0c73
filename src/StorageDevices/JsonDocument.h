// A parsed JSON text of a tool: either a document or an error.
//
// The text is untrusted. RapidJSON reads it under its default rules, as a C string that ends at its first
// NUL. Nesting and memory are bounded. A text beyond a bound, or for which there is no memory, has the error
// "Terminate parsing due to Handler error."
#pragma once

#include <rapidjson/fwd.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

namespace StorageDevices {

using JsonValue = rapidjson::Value;

class JsonDocument {
 public:
   // The error of a text beyond the bounds or without memory.
   static constexpr std::string_view tooMuch = "Terminate parsing due to Handler error.";

   // Levels of arrays and objects inside each other.
   static constexpr unsigned maxDepth = 512;

   explicit JsonDocument(std::string_view text);
   JsonDocument(JsonDocument &&) noexcept;
   JsonDocument & operator=(JsonDocument &&) noexcept;
   ~JsonDocument();

   bool isValid() const { return error_.empty(); }

   // RapidJSON's English description of the first error, empty when there is none.
   std::string_view error() const { return error_; }

   // The outermost value; a JSON null when there is an error. All values exist as long as the document.
   JsonValue const & root() const;

 private:
   struct Content;
   std::unique_ptr<Content> content_;
   std::string_view error_;
};

// Look-ups without copies. They accept any kind of value and a null pointer, so that calls can be chained.
// Names and texts have a length and may contain NULs.

// The object's first member of that name; null when there is none or the value is no object.
JsonValue const * jsonMember(JsonValue const * value, std::string_view name);

// A string; nothing for any other kind.
std::optional<std::string_view> jsonString(JsonValue const * value);

// A whole number written without fraction and exponent, from 0 to 2^64 - 1; nothing for anything else.
std::optional<std::uint64_t> jsonUnsigned(JsonValue const * value);

}  // namespace StorageDevices
