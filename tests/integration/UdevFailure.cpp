// Stands before libudev's function of the same name.
#include "tests/support/UdevFailure.h"

#include <dlfcn.h>
#include <libudev.h>

#include <cerrno>
#include <string_view>
#include <utility>

namespace {

int udevError = 0;
std::string folderEnding;

}  // namespace

namespace Support {

UdevFailure::UdevFailure(int error, std::string ending) {
   udevError = error;
   folderEnding = std::move(ending);
}

UdevFailure::~UdevFailure() {
   udevError = 0;
}

}  // namespace Support

extern "C" [[gnu::visibility("default")]] udev_device * udev_device_new_from_syspath(udev * context,
                                                                                     char const * path) {
   static auto const real = reinterpret_cast<decltype(&udev_device_new_from_syspath)>(
       dlsym(RTLD_NEXT, "udev_device_new_from_syspath"));
   if (udevError == 0 || !std::string_view{path}.ends_with(folderEnding))
      return real(context, path);
   errno = udevError;
   return nullptr;
}
