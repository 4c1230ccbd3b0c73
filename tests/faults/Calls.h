// The system calls that may fail, and with which errors.
#pragma once

#include <string>
#include <vector>

namespace Faults {

// What names the place of a call: an argument that is a descriptor or a path.
enum class Subject { none, descriptor, path };

struct Call {
   char const * name;
   int number;
   Subject subject;
   unsigned argument;        // which one that is
   std::vector<int> errors;  // those that the manual pages allow and an agent can meet
};

// Null for a call that cannot fail, or whose failure cannot be imitated; see README.md.
Call const * callOf(int number);
Call const * callNamed(std::string const & name);

}  // namespace Faults
