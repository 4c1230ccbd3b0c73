// A JSON text of a tool, read whole: either a document or why it is none.
//
// The text is outside data. It is read by RapidJSON under its default rules, as a C string (whatever
// follows its first NUL is not seen). Its nesting is bounded before it can exhaust the stack, and so is the
// memory that it takes. A text beyond these bounds, or for which there is no memory, is no document; its
// error is "Terminate parsing due to Handler error."
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
   // The error of a text that is beyond the bounds or finds no memory.
   static constexpr std::string_view tooMuch = "Terminate parsing due to Handler error.";

   // Levels of arrays and objects inside each other.
   static constexpr unsigned maxDepth = 512;

   // Bytes that a document may take whatever its text; no text of up to a MiB takes more. A longer text may
   // take four bytes for each of its own.
   static constexpr std::size_t roomForAll = std::size_t{8} << 20U;

   explicit JsonDocument(std::string_view text);
   JsonDocument(JsonDocument &&) noexcept;
   JsonDocument & operator=(JsonDocument &&) noexcept;
   ~JsonDocument();

   bool isValid() const { return error_.empty(); }

   // RapidJSON's English description of the first error, empty when there is none.
   std::string_view error() const { return error_; }

   // The outermost value; null when the text is no document. It and all values below it live as long as
   // the document.
   JsonValue const & root() const;

 private:
   struct Content;
   std::unique_ptr<Content> content_;
   std::string_view error_;
};

// Look-ups that copy nothing and take what they are given: any kind of value, or none (a null pointer), so
// that they chain. Names and texts are compared and returned with their length, NULs included.

// The object's member of that name (the first, where the text has several); null when there is none or when
// the value is no object.
JsonValue const * jsonMember(JsonValue const * value, std::string_view name);

// A string; nothing for any other kind.
std::optional<std::string_view> jsonString(JsonValue const * value);

// A whole number written without fraction and exponent, from 0 to 2^64 - 1; nothing for anything else.
std::optional<std::uint64_t> jsonUnsigned(JsonValue const * value);

}  // namespace StorageDevices
