// The C library's function that a test's replacement of it stands before.
#pragma once

#include <dlfcn.h>

namespace Support {

// Found by the symbol of the replacement, which is not always its name: where sizes and times of 64 bits are
// an option, `fstatat` is `__fstatat64_time64`. The replacement has default visibility.
template <typename Function>
Function nextCall(Function replacement) {
   Dl_info found{};
   dladdr(reinterpret_cast<void *>(replacement), &found);
   return reinterpret_cast<Function>(dlsym(RTLD_NEXT, found.dli_sname));
}

}  // namespace Support
