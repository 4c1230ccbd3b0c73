// Text passed by value: any bytes, NUL included. It can also be "none", like an optional text. Every copy has
// its own bytes. A view or pointer into them is valid until the string is changed or destroyed.
#pragma once

#include <compare>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

#include "runtime/Export.h"

namespace Pelm {

class VORN_API String {
 public:
   String() = default;
   // A null pointer gives an empty string.
   String(char const * text) : text_{text ? text : ""} {}
   String(std::string_view text) : text_{text} {}
   String(std::string text) : text_{std::move(text)} {}

   String & operator=(char const * text) { return *this = String{text}; }
   String & operator=(std::string_view text) { return *this = String{text}; }
   String & operator=(std::string text) { return *this = String{std::move(text)}; }

   // Adds bytes behind, or before. Either makes "none" a value, also with an empty text.
   void append(std::string_view text);
   void addLeft(std::string_view text);
   // Removes [first, last), which must be a range of this string's own characters.
   void erase(char const * first, char const * last);
   // Every text starts with the empty one; "none" counts as empty here.
   bool startsWith(String const & prefix) const { return text_.starts_with(prefix.text_); }

   // Bytes, not characters.
   std::size_t size() const { return text_.size(); }
   bool empty() const { return text_.empty(); }
   // NUL-terminated. A function of C sees the text end at a NUL within.
   char const * data() const { return text_.c_str(); }
   char const * begin() const { return text_.data(); }
   char const * end() const { return text_.data() + text_.size(); }
   std::string_view view() const { return text_; }
   std::string const & str() const { return text_; }

   // `optionalClearValue` makes it "none"; the other answers whether it is a value. Any later assignment
   // makes it a value. "None" has no characters, differs from every text, also from the empty one, and sorts
   // before all.
   void optionalClearValue();
   bool optionalHasValue() const { return !cleared_; }

   // Compares bytes: negative, zero or positive.
   int compare(String const & other) const {
      int const order = text_.compare(other.text_);
      return order != 0 ? order : int{other.cleared_} - int{cleared_};
   }

   bool operator==(String const & other) const { return text_ == other.text_ && cleared_ == other.cleared_; }
   // A null pointer counts as the empty text. "None" equals neither.
   bool operator==(char const * other) const { return !cleared_ && view() == (other ? other : ""); }
   bool operator==(std::string_view other) const { return !cleared_ && view() == other; }
   bool operator==(std::string const & other) const { return !cleared_ && text_ == other; }
   std::strong_ordering operator<=>(String const & other) const { return compare(other) <=> 0; }

 private:
   std::string text_;
   bool cleared_ = false;
};

// The bytes as they are, unescaped; nothing for "none".
VORN_API std::ostream & operator<<(std::ostream & stream, String const & text);

// Allows look-ups by views in a map with string keys. "None" has the hash of the empty text.
struct StringHash {
   using is_transparent = void;
   std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
   std::size_t operator()(String const & text) const { return (*this)(text.view()); }
};

}  // namespace Pelm

namespace Vorn {
using String = Pelm::String;
}

template <>
struct std::hash<Pelm::String> : Pelm::StringHash {};
