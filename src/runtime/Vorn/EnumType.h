// Enumerations whose values have names.
//
//    class Colour : public Vorn::EnumType<unsigned char, Colour> {
//     public:
//       enum Value : unsigned char { red, green };
//       static constexpr Vorn::EnumName<unsigned char> names[] = {{red, "red"}, {green, "green"}};
//       using EnumType::EnumType;
//    };
#pragma once

#include <ostream>
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

   friend std::ostream & operator<<(std::ostream & stream, Derived const & value) {
      return stream << value.stringValue();
   }

 private:
   Rep value_{};
};

}  // namespace Vorn
