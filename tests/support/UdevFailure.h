// Lets udev fail to show a device as on a machine that has no more memory for it.
#pragma once

#include <string>

namespace Support {

// While it lives no device whose folder in sysfs ends so can be had: the attempt ends with that errno value.
class UdevFailure {
 public:
   UdevFailure(int error, std::string ending);
   UdevFailure(UdevFailure const &) = delete;
   UdevFailure & operator=(UdevFailure const &) = delete;
   ~UdevFailure();
};

}  // namespace Support
