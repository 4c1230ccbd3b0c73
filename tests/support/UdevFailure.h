// Makes libudev fail to create a device, as during a shortage of memory.
#pragma once

#include <string>

namespace Support {

// For its scope, creating a device whose sysfs folder has that end fails with that errno value.
class UdevFailure {
 public:
   UdevFailure(int error, std::string ending);
   UdevFailure(UdevFailure const &) = delete;
   UdevFailure & operator=(UdevFailure const &) = delete;
   ~UdevFailure();
};

}  // namespace Support
