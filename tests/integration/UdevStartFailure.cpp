// Stands before libudev's functions of the same names.
#include "tests/support/UdevStartFailure.h"

#include <dlfcn.h>
#include <libudev.h>

#include <cerrno>
#include <type_traits>

namespace {

std::string_view failingFunction;
int failure = 0;

// Calls libudev's own function unless it shall fail. The type of `function` is that of the one that calls.
template <class Result, class... Args>
Result callOrFail(Result (*)(Args...), char const * name, Args... args) {
   if (failingFunction != name)
      return reinterpret_cast<Result (*)(Args...)>(dlsym(RTLD_NEXT, name))(args...);
   errno = failure;
   if constexpr (std::is_pointer_v<Result>)
      return nullptr;
   else
      return -failure;
}

}  // namespace

namespace Support {

UdevStartFailure::UdevStartFailure(std::string_view function, int error) {
   failingFunction = function;
   failure = error;
}

UdevStartFailure::~UdevStartFailure() {
   failingFunction = {};
}

}  // namespace Support

extern "C" {

[[gnu::visibility("default")]] udev * udev_new() {
   return callOrFail(&udev_new, __func__);
}
[[gnu::visibility("default")]] udev_monitor * udev_monitor_new_from_netlink(udev * context,
                                                                            char const * name) {
   return callOrFail(&udev_monitor_new_from_netlink, __func__, context, name);
}
[[gnu::visibility("default")]] int udev_monitor_filter_add_match_subsystem_devtype(udev_monitor * monitor,
                                                                                   char const * subsystem,
                                                                                   char const * type) {
   return callOrFail(&udev_monitor_filter_add_match_subsystem_devtype, __func__, monitor, subsystem, type);
}
[[gnu::visibility("default")]] int udev_monitor_filter_update(udev_monitor * monitor) {
   return callOrFail(&udev_monitor_filter_update, __func__, monitor);
}
[[gnu::visibility("default")]] int udev_monitor_enable_receiving(udev_monitor * monitor) {
   return callOrFail(&udev_monitor_enable_receiving, __func__, monitor);
}
[[gnu::visibility("default")]] int udev_monitor_get_fd(udev_monitor * monitor) {
   return callOrFail(&udev_monitor_get_fd, __func__, monitor);
}
}
