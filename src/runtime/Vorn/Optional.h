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

// An empty optional was read.
class RUNTIME_API BadOptionalAccess : public std::exception {
 public:
   char const * what() const noexcept override;
};

namespace detail {
[[noreturn]] RUNTIME_API void raiseBadOptionalAccess();
}

// Holds its value itself and allocates nothing. Copies as std::optional does, from which it can be made.
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
