// Text passed by value. It holds any bytes, NUL included, and doubles as an optional text.
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

class RUNTIME_API String {
 public:
   String() = default;
   // A null pointer makes an empty string.
   String(char const * text) : text_{text ? text : ""} {}
   String(std::string_view text) : text_{text} {}
   String(std::string text) : text_{std::move(text)} {}

   String & operator=(char const * text) { return *this = String{text}; }
   String & operator=(std::string_view text) { return *this = String{text}; }
   String & operator=(std::string text) { return *this = String{std::move(text)}; }

   void append(std::string_view text);
   void addLeft(std::string_view text);
   // Removes [first, last), a range of this string's own characters.
   void erase(char const * first, char const * last);
   bool startsWith(String const & prefix) const { return text_.starts_with(prefix.text_); }

   std::size_t size() const { return text_.size(); }
   bool empty() const { return text_.empty(); }
   // NUL-terminated.
   char const * data() const { return text_.c_str(); }
   char const * begin() const { return text_.data(); }
   char const * end() const { return text_.data() + text_.size(); }
   std::string_view view() const { return text_; }
   std::string const & str() const { return text_; }

   // As an optional text: makes it the value that stands for "none", and asks whether it is a value. What is
   // put into it later is one. "None" has no characters, differs from every text, the empty one included, and
   // comes before them all.
   void optionalClearValue();
   bool optionalHasValue() const { return !cleared_; }

   // Byte-wise; negative, zero or positive.
   int compare(String const & other) const {
      int const order = text_.compare(other.text_);
      return order != 0 ? order : int{other.cleared_} - int{cleared_};
   }

   bool operator==(String const & other) const { return text_ == other.text_ && cleared_ == other.cleared_; }
   bool operator==(char const * other) const { return !cleared_ && view() == (other ? other : ""); }
   bool operator==(std::string_view other) const { return !cleared_ && view() == other; }
   bool operator==(std::string const & other) const { return !cleared_ && text_ == other; }
   std::strong_ordering operator<=>(String const & other) const { return compare(other) <=> 0; }

 private:
   std::string text_;
   bool cleared_ = false;
};

RUNTIME_API std::ostream & operator<<(std::ostream & stream, String const & text);

// Lets a map keyed by strings be asked with views.
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
