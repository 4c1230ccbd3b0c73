// Makes one of libudev's functions fail that discovery calls at its start.
#pragma once

#include <string_view>

namespace Support {

// For its scope the function of that name fails with that errno value: "udev_new", or one that sets up the
// monitor.
class UdevStartFailure {
 public:
   UdevStartFailure(std::string_view function, int error);
   UdevStartFailure(UdevStartFailure const &) = delete;
   UdevStartFailure & operator=(UdevStartFailure const &) = delete;
   ~UdevStartFailure();
};

}  // namespace Support
