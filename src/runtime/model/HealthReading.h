// The time of a device's latest health reading, for the host to show. It changes at every poll, so it
// notifies nobody.
#pragma once

#include <cstdint>

#include "runtime/Vorn/Seconds.h"

namespace StorageDevices {

class HealthReading {
 public:
   // Good readings since the creation of the record.
   std::uint64_t count() const { return count_; }
   // Framework time of the latest one, which corrections of the wall clock do not affect; 0: none yet.
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
