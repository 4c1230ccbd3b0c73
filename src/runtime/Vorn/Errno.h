// The error of a failed system call, for traces: "context: text (errno N)".
#pragma once

#include <iosfwd>

#include "runtime/Export.h"
#include "runtime/Pelm/String.h"

namespace Vorn {

class RUNTIME_API Errno {
 public:
   // `number` is an errno value; `context` names the attempted call.
   Errno(int number, char const * context) : number_{number}, context_{context} {}

   int number() const { return number_; }
   Pelm::String const & context() const { return context_; }
   Pelm::String stringValue() const;

 private:
   int number_;
   Pelm::String context_;
};

RUNTIME_API std::ostream & operator<<(std::ostream & stream, Errno const & error);

}  // namespace Vorn
