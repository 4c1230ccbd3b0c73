// The positions of the values in a JSON text. A value can be replaced while all others keep their spelling,
// numbers of any length included.
//
// The text is untrusted: its nesting and the number of its values are bounded.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace NvmeCompat {

class JsonIndex {
 public:
   static constexpr unsigned maxDepth = 512;        // levels of arrays and objects inside each other
   static constexpr std::size_t maxValues = 65536;  // a list of a thousand drives has some ten thousand

   enum class Kind { object, array, string, number, word };  // word: true, false, null

   struct Value {
      Kind kind;
      std::string name;  // the member's name, in an object
      std::string text;  // of a string, without quotes, escapes resolved
      std::size_t begin;
      std::size_t end;
      std::size_t next;  // index of the value behind this one and its descendants
   };

   // Nothing when the text is not a single JSON value, or exceeds the bounds. The text must outlive the
   // index.
   static std::optional<JsonIndex> of(std::string_view text);

   Value const & root() const { return values_.front(); }

   // The elements of an array or the values of an object's members; none for another kind.
   std::vector<Value const *> children(Value const & value) const;

   // The first member of that name; null when there is none or the value is no object or null itself.
   Value const * member(Value const * value, std::string_view name) const;

   // The value's text, in its original spelling.
   std::string_view written(Value const & value) const {
      return text_.substr(value.begin, value.end - value.begin);
   }
   std::string_view text() const { return text_; }

 private:
   explicit JsonIndex(std::string_view text) : text_(text) {}

   std::string_view text_;
   std::vector<Value> values_;
};

// A part of a text and its replacement.
struct Edit {
   std::size_t begin;
   std::size_t end;
   std::string text;
};

// The text with the edits applied. They must be in the order of their positions and must not overlap.
std::string edited(std::string_view text, std::vector<Edit> const & edits);

}  // namespace NvmeCompat
