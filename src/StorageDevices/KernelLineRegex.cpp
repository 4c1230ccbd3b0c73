// The kernel-line patterns as expressions of the standard library, for hosts. The watcher does not use them:
// their matching recurses per character (see KernelLine.h).
#include <algorithm>

#include "StorageDevices/KernelLinePatterns.h"
#include "StorageDevices/SdErrWatcherSm.h"

namespace StorageDevices {

std::array<std::regex, 9> const & StorageDeviceErrWatcherSm::regex() {
   static auto const compiled = [] {
      std::array<std::regex, 9> result;
      std::transform(kernelLinePatterns.begin(), kernelLinePatterns.end(), result.begin(),
                     [](KernelLinePattern const & pattern) { return std::regex{pattern.expression}; });
      return result;
   }();
   return compiled;
}

}  // namespace StorageDevices
