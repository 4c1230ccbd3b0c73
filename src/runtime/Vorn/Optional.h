// An optional value whose every access is checked.
//
// Reading an empty one raises BadOptionalAccess, by `value()`, `*` and `->` alike: never undefined behaviour.
// Inside a handler the exception goes to the host's failure sink, and no other machine is harmed. `value_or`,
// `has_value` and the conversion to bool raise nothing.
#pragma once

#include <exception>
#include <optional>
#include <utility>

#include "runtime/Export.h"

namespace Vorn {

// An empty optional was read. `what()` is a constant text: it takes no memory and names neither type nor
// place.
class VORN_API BadOptionalAccess : public std::exception {
 public:
   char const * what() const noexcept override;
};

namespace detail {
[[noreturn]] VORN_API void raiseBadOptionalAccess();
}

// Holds its value itself and allocates nothing. `T` is no reference. What has the name of a member of
// std::optional does the same as there, but for the check.
template <class T>
class Optional : private std::optional<T> {
   using Base = std::optional<T>;

 public:
   using Base::Base;
   using Base::emplace;
   using Base::has_value;
   using Base::reset;
   using Base::value_or;
   using Base::operator bool;
   Optional() = default;
   // Implicit, so that a std::optional can be passed on.
   Optional(Base other) : Base{std::move(other)} {}

   // The value. References last until the optional is assigned, reset or destroyed.
   T const & value() const & {
      check();
      return Base::operator*();
   }
   T & value() & {
      check();
      return Base::operator*();
   }
   // Of an expiring optional: the value may be moved away, and the optional stays full.
   T && value() && {
      check();
      return std::move(Base::operator*());
   }
   T const & operator*() const & { return value(); }
   T & operator*() & { return value(); }
   T && operator*() && { return std::move(*this).value(); }
   T const * operator->() const { return &value(); }
   T * operator->() { return &value(); }

   // Two empty ones are equal; an empty one equals no value.
   bool operator==(Optional const & other) const { return base() == other.base(); }
   bool operator==(T const & other) const { return base() == other; }
   bool operator==(std::nullopt_t) const { return !has_value(); }

 private:
   Base const & base() const { return *this; }
   void check() const {
      if (!has_value()) [[unlikely]]
         detail::raiseBadOptionalAccess();
   }
};

}  // namespace Vorn
