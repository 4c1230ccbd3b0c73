// The error of a failed system call, for traces. Read errno into it at once: any further call may change it.
#pragma once

#include <iosfwd>

#include "runtime/Export.h"
#include "runtime/Pelm/String.h"

namespace Vorn {

class VORN_API Errno {
 public:
   // `number` is an errno value; 0 reads "Success". `context` names the attempted call, and is copied.
   Errno(int number, char const * context) : number_{number}, context_{context} {}

   int number() const { return number_; }
   Pelm::String const & context() const { return context_; }
   // "context: text (errno N)", such as "bind: Address already in use (errno 98)".
   Pelm::String stringValue() const;

 private:
   int number_;
   Pelm::String context_;
};

VORN_API std::ostream & operator<<(std::ostream & stream, Errno const & error);

}  // namespace Vorn
