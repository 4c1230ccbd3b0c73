// Errors that say that the process or the machine is short of descriptors, processes or memory: their cause
// and what an operator does about it. What was tried may be tried again later.
#pragma once

#include <string>
#include <system_error>

#include "runtime/Export.h"

namespace Vorn {

// Whether an errno value says so.
RUNTIME_API bool isShortage(int error);

// What an operator does about it, as "raise LimitNOFILE= of the service (ulimit -n)". Empty for an error that
// is no shortage.
RUNTIME_API std::string shortageRemedy(int error);

// The error in words; of a shortage also its cause and its remedy: "Too many open files; the process has as
// many open as it may: raise LimitNOFILE= of the service (ulimit -n)".
RUNTIME_API std::string errorAndRemedy(int error);

// What the exception says, with the same addition.
RUNTIME_API std::string errorAndRemedy(std::system_error const & error);

}  // namespace Vorn
