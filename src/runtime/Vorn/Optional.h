// An optional value; reading an empty one raises an error.
#pragma once

#include <exception>
#include <optional>
#include <utility>

#include "runtime/Export.h"

namespace Vorn {

class RUNTIME_API BadOptionalAccess : public std::exception {
 public:
   char const * what() const noexcept override;
};

namespace detail {
[[noreturn]] RUNTIME_API void raiseBadOptionalAccess();
}

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
