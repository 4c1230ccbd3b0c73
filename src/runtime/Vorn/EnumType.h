// Enumerations whose values have names. They convert to and from their numbers, which hosts may store; a
// number from outside is not checked, and may have no name.
//
//    class Colour : public Vorn::EnumType<unsigned char, Colour> {
//     public:
//       enum Value : unsigned char { red, green };
//       static constexpr Vorn::EnumName<unsigned char> names[] = {{red, "red"}, {green, "green"}};
//       using EnumType::EnumType;
//    };
#pragma once

#include <concepts>
#include <cstddef>
#include <functional>
#include <ostream>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "runtime/Vorn/Format.h"
#include "runtime/Vorn/Optional.h"

namespace Vorn {

// A literal: the name is not copied.
template <class Rep>
struct EnumName {
   Rep value;
   char const * name;
};

// With `Derived`, a value of that class. Without it, as EnumType<unsigned char>, a value of any enumeration
// of that size, which keeps its names.
template <class Rep, class Derived = void>
class EnumType {
 public:
   constexpr EnumType() = default;
   constexpr EnumType(Rep value) : value_{value} {}
   // The value whose name is [first, last); throws std::invalid_argument when there is none.
   EnumType(char const * first, char const * last) : value_{sequenceToValue(first, last).value_} {}

   constexpr Rep value() const { return value_; }
   constexpr operator Rep() const { return value_; }
   constexpr operator EnumType<Rep>() const { return {value_, Derived::names}; }

   // A value without a name reads as its number.
   Pelm::String stringValue() const { return EnumType<Rep>{*this}.stringValue(); }

   // The value of a name, compared exactly; empty when no value has it, and for a null pointer.
   static Optional<Derived> instance(char const * name) {
      auto const found = EnumType<Rep>{Rep{}, Derived::names}.instance(name);
      return found ? Optional<Derived>{found->value()} : Optional<Derived>{};
   }

   // The same as the constructor from a text, for `NamedEnum`.
   static Derived sequenceToValue(char const * first, char const * last) {
      std::string const name{first, last};
      if (auto const value =
              name.find('\0') == std::string::npos ? instance(name.c_str()) : Optional<Derived>{})
         return *value;
      throw std::invalid_argument{"no value is called '" + name + "'"};
   }

   friend std::ostream & operator<<(std::ostream & stream, Derived const & value) {
      return stream << value.stringValue();
   }

 private:
   Rep value_{};
};

template <class Rep>
class EnumType<Rep, void> {
 public:
   // The names of the enumeration, which live as long as the process.
   constexpr EnumType(Rep value, std::span<EnumName<Rep> const> names) : value_{value}, names_{names} {}

   constexpr Rep value() const { return value_; }

   // A value without a name reads as its number.
   Pelm::String stringValue() const {
      for (EnumName<Rep> const & entry : names_)
         if (entry.value == value_)
            return entry.name;
      return valueToString(static_cast<unsigned>(value_));
   }

   // The value of a name in the same enumeration; empty when no value has it.
   Optional<EnumType> instance(char const * name) const {
      for (EnumName<Rep> const & entry : names_)
         if (name && std::string_view{entry.name} == name)
            return EnumType{entry.value, names_};
      return {};
   }

   // Values of two enumerations are never equal.
   friend bool operator==(EnumType const & a, EnumType const & b) {
      return a.value_ == b.value_ && a.names_.data() == b.names_.data();
   }
   friend std::ostream & operator<<(std::ostream & stream, EnumType const & value) {
      return stream << value.stringValue();
   }

 private:
   Rep value_;
   std::span<EnumName<Rep> const> names_;
};

// Any enumeration that is derived from EnumType.
template <class T>
concept NamedEnum = requires(T value) {
   { value.stringValue() } -> std::convertible_to<Pelm::String>;
   { T::sequenceToValue(nullptr, nullptr) } -> std::same_as<T>;
};

}  // namespace Vorn

template <Vorn::NamedEnum T>
struct std::hash<T> {
   std::size_t operator()(T value) const noexcept { return value.value(); }
};
