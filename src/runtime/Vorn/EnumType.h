// Enumerations whose values have names.
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
#include <stdexcept>
#include <string>
#include <string_view>

#include "runtime/Vorn/Format.h"
#include "runtime/Vorn/Optional.h"

namespace Vorn {

template <class Rep>
struct EnumName {
   Rep value;
   char const * name;
};

template <class Rep, class Derived>
class EnumType {
 public:
   constexpr EnumType() = default;
   constexpr EnumType(Rep value) : value_{value} {}
   // The value of the name that these characters are; throws std::invalid_argument when no value has it.
   EnumType(char const * first, char const * last) : value_{sequenceToValue(first, last).value_} {}

   constexpr Rep value() const { return value_; }
   constexpr operator Rep() const { return value_; }

   // A value without a name reads as its number.
   Pelm::String stringValue() const {
      for (EnumName<Rep> const & entry : Derived::names)
         if (entry.value == value_)
            return entry.name;
      return valueToString(static_cast<unsigned>(value_));
   }

   // The value of a name; empty when no value has it.
   static Optional<Derived> instance(char const * name) {
      for (EnumName<Rep> const & entry : Derived::names)
         if (name && std::string_view{entry.name} == name)
            return Derived{entry.value};
      return {};
   }

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

// Any enumeration of this kind.
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
