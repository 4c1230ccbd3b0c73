// Value records: small types compared by value, with a text form that can be read back.
//
// A record lists its fields once, as members or pairs of accessors:
//
//    struct Place : public Vorn::ValueRecord<Place> {
//       Pelm::String street;
//       unsigned number = 0;
//       static constexpr char const * recordName = "Place";
//       static constexpr auto recordFields() {
//          return std::tuple{Vorn::recordField("street", &Place::street),
//                            Vorn::recordField("number", &Place::number)};
//       }
//    };
//
// It gets `isEq`, `==`, the text `Place(street="Elm \"St\"", number=7)`, and the parser of that text.
// Fields are strings, unsigned integers and bools. Names and order of the fields are part of the text: a
// change of either makes earlier texts unreadable. The record has a default constructor.
#pragma once

#include <concepts>
#include <cstdint>
#include <limits>
#include <ostream>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "runtime/Export.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Optional.h"

namespace Vorn {

namespace detail {

template <class Record, class T>
struct MemberField {
   using Value = T;
   char const * name;
   T Record::*member;

   T const & get(Record const & record) const { return record.*member; }
   void set(Record & record, T value) const { record.*member = std::move(value); }
};

template <class Record, class Result, class Argument>
struct AccessorField {
   using Value = std::remove_cvref_t<Result>;
   char const * name;
   Result (Record::*getter)() const;
   void (Record::*setter)(Argument);

   Value get(Record const & record) const { return (record.*getter)(); }
   void set(Record & record, Value value) const { (record.*setter)(std::move(value)); }
};

// Appends the value's part of a record's text.
VORN_API void putValue(std::string & text, Pelm::String const & value);
VORN_API void putValue(std::string & text, std::uint64_t value);
VORN_API void putValue(std::string & text, bool value);

// Each removes its part from the front of the text, or answers false.
VORN_API bool takeLiteral(std::string_view & text, std::string_view literal);
VORN_API bool takeValue(std::string_view & text, Pelm::String & value);
VORN_API bool takeValue(std::string_view & text, std::uint64_t & value, std::uint64_t max);
VORN_API bool takeValue(std::string_view & text, bool & value);

template <class Field, class Record>
void putField(std::string & text, Field const & field, Record const & record) {
   text += text.ends_with('(') ? "" : ", ";
   text.append(field.name).append("=");
   if constexpr (std::unsigned_integral<typename Field::Value> && !std::same_as<typename Field::Value, bool>)
      putValue(text, std::uint64_t{field.get(record)});
   else
      putValue(text, field.get(record));
}

template <class Field, class Record>
bool takeField(std::string_view & text, bool first, Field const & field, Record & record) {
   using Value = typename Field::Value;
   if (!takeLiteral(text, first ? "" : ", ") || !takeLiteral(text, field.name) || !takeLiteral(text, "="))
      return false;
   if constexpr (std::unsigned_integral<Value> && !std::same_as<Value, bool>) {
      std::uint64_t number = 0;
      if (!takeValue(text, number, std::numeric_limits<Value>::max()))
         return false;
      field.set(record, static_cast<Value>(number));
   } else {
      Value value{};
      if (!takeValue(text, value))
         return false;
      field.set(record, std::move(value));
   }
   return true;
}

}  // namespace detail

// A field that is a member; or one with a getter and a setter. `name` must be a literal.
template <class Record, class T>
constexpr auto recordField(char const * name, T Record::*member) requires(!std::is_function_v<T>) {
   return detail::MemberField<Record, T>{name, member};
}

template <class Record, class Result, class Argument>
constexpr auto recordField(char const * name, Result (Record::*getter)() const,
                           void (Record::*setter)(Argument)) {
   return detail::AccessorField<Record, Result, Argument>{name, getter, setter};
}

template <class Record>
class ValueRecord {
 public:
   // Whether all fields are equal, a "none" string and an empty one being different.
   bool isEq(Record const & other) const {
      return std::apply(
          [&](auto const &... field) { return ((field.get(self()) == field.get(other)) && ...); },
          Record::recordFields());
   }
   friend bool operator==(Record const & a, Record const & b) { return a.isEq(b); }

   // Quotes, backslashes and control bytes of a string are escaped, so the text is one line; other bytes
   // stay.
   Pelm::String stringValue() const {
      std::string text{Record::recordName};
      text += '(';
      std::apply([&](auto const &... field) { (detail::putField(text, field, self()), ...); },
                 Record::recordFields());
      text += ')';
      return text;
   }

   // The record of a text; nothing for every text that `stringValue()` does not generate. The text may be
   // untrusted: time and memory are proportional to its length.
   static Optional<Record> instance(std::string_view text) {
      Record record{};
      std::string_view rest = text;
      bool first = true;
      bool const taken =
          detail::takeLiteral(rest, Record::recordName) && detail::takeLiteral(rest, "(") &&
          std::apply(
              [&](auto const &... field) {
                 return (detail::takeField(rest, std::exchange(first, false), field, record) && ...);
              },
              Record::recordFields()) &&
          rest == ")";
      // Refuses other spellings of a record: leading zeros, needless escapes.
      if (!taken || record.stringValue() != text)
         return {};
      return record;
   }

   friend std::ostream & operator<<(std::ostream & stream, Record const & record) {
      return stream << record.stringValue();
   }

 private:
   Record const & self() const { return static_cast<Record const &>(*this); }
};

}  // namespace Vorn
