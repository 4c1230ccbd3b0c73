// Where the values of a JSON text lie, so that one of them can be replaced while all others stay as they
// were written, numbers of any length included.
//
// The text is outside data: its nesting and the number of its values are bounded.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Agent::Compat {

class JsonIndex {
 public:
   static constexpr unsigned maxDepth = 512;        // levels of arrays and objects inside each other
   static constexpr std::size_t maxValues = 65536;  // a list of a thousand drives has some ten thousand

   enum class Kind { object, array, string, number, word };  // word: true, false, null

   struct Value {
      Kind kind;
      std::string name;  // in an object: what it is the value of
      std::string text;  // of a string: without quotes and escapes
      std::size_t begin;
      std::size_t end;
      std::size_t next;  // index of the value after this one and all that it contains
   };

   // Nothing when the text is not one JSON value with white space around it, or beyond the bounds. The text
   // must outlive the index.
   static std::optional<JsonIndex> of(std::string_view text);

   Value const & root() const { return values_.front(); }

   // Elements of an array, values of an object's members; none for anything else.
   std::vector<Value const *> children(Value const & value) const;

   // The first member of that name; null when there is none or the value is no object or null itself.
   Value const * member(Value const * value, std::string_view name) const;

   // As it is written.
   std::string_view written(Value const & value) const {
      return text_.substr(value.begin, value.end - value.begin);
   }
   std::string_view text() const { return text_; }

 private:
   explicit JsonIndex(std::string_view text) : text_(text) {}

   std::string_view text_;
   std::vector<Value> values_;
};

// A stretch of a text and what is to stand there.
struct Edit {
   std::size_t begin;
   std::size_t end;
   std::string text;
};

// The edits must be in the order of their places and not overlap.
std::string edited(std::string_view text, std::vector<Edit> const & edits);

}  // namespace Agent::Compat
