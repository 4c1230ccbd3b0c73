// When a device's health was last read. What the host shows beside the data; nobody is told of it, for
// it changes at every poll.
#pragma once

#include <cstdint>

#include "runtime/Vorn/Seconds.h"

namespace StorageDevices {

class HealthReading {
 public:
   // Good readings since the record was made.
   std::uint64_t count() const { return count_; }
   // When the last one was, in the framework's time, which no correction of the wall clock moves; 0: there
   // was none.
   Vorn::Seconds time() const { return time_; }

   void countInc() {
      ++count_;
      time_ = Vorn::System::currentTime();
   }

 private:
   std::uint64_t count_ = 0;
   Vorn::Seconds time_ = 0;
};

}  // namespace StorageDevices
