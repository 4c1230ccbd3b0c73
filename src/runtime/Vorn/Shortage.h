// Errors of a shortage of descriptors, processes or memory, with their causes and remedies. A later attempt
// may succeed.
#pragma once

#include <string>
#include <system_error>

#include "runtime/Export.h"

namespace Vorn {

// Whether an errno value is such an error.
VORN_API bool isShortage(int error);

// The remedy, for example "raise LimitNOFILE= of the service (ulimit -n)". Empty for another error.
VORN_API std::string shortageRemedy(int error);

// The text of the error, with cause and remedy for a shortage. For example: "Too many open files; the process
// has reached its limit of open files: raise LimitNOFILE= of the service (ulimit -n)".
VORN_API std::string errorAndRemedy(int error);

// The text of the exception, with the same addition.
VORN_API std::string errorAndRemedy(std::system_error const & error);

}  // namespace Vorn
