// How the readings of one record go: when the latest good one was, and since when and why they fail. The
// record's monitor writes it at every reading, so it notifies nobody.
#pragma once

#include <cstdint>
#include <new>
#include <string>
#include <string_view>

#include "runtime/Vorn/Optional.h"
#include "runtime/Vorn/Seconds.h"

namespace StorageDevices {

// All times are of the framework, which corrections of the wall clock do not affect.
class HealthReading {
 public:
   // Failed readings in a row.
   struct Failure {
      Vorn::Seconds since;      // the first one's end
      std::string reason;       // the latest one's
      std::uint32_t polls = 0;  // their number
      bool hangs = false;       // the latest one's tool did not end by itself
   };

   // `source` must be a literal.
   explicit HealthReading(char const * source) : source_{source} {}

   // Where the record is read from: "smartctl", "nvme", "emmc" or "iostat".
   char const * source() const { return source_; }
   // Good readings since the creation of the record.
   std::uint64_t count() const { return count_; }
   // The time of the latest good one; 0: none yet.
   Vorn::Seconds time() const { return time_; }
   // The end of the latest reading, a failed one included; empty before the first.
   Vorn::Optional<Vorn::Seconds> const & ended() const { return ended_; }
   // Empty after a good reading, and before the first.
   Vorn::Optional<Failure> const & failure() const { return failure_; }

   // A good reading.
   void countInc(Vorn::Seconds time = Vorn::System::currentTime()) {
      ++count_;
      time_ = time;
      ended_ = time;
      failure_.reset();
   }
   // A failed one. It is recorded also where memory ends, which is its reason then.
   void failureIs(std::string_view reason, bool hangs = false) noexcept {
      ended_ = Vorn::System::currentTime();
      if (!failure_)
         failure_ = Failure{*ended_, {}};
      ++failure_->polls;
      failure_->hangs = hangs;
      try {
         failure_->reason = reason;
      } catch (std::bad_alloc const &) {
         failure_->reason = "out of memory";
      }
   }

 private:
   char const * source_;
   std::uint64_t count_ = 0;
   Vorn::Seconds time_ = 0;
   Vorn::Optional<Vorn::Seconds> ended_;
   Vorn::Optional<Failure> failure_;
};

}  // namespace StorageDevices
