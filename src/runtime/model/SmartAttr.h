// One row of an ATA drive's attribute table.
#pragma once

#include <cstdint>
#include <utility>

#include "runtime/Export.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Optional.h"

namespace StorageDevices {

struct SmartAttr {
   std::uint8_t id = 0;             // 1 to 255
   Pelm::String name;               // in the tool's spelling, for example Power_On_Hours
   std::uint8_t thresh = 0;         // failure threshold; 0: none
   std::uint8_t value = 0;          // normalised: falls from 100, 200 or 253 as the drive wears
   std::uint8_t worst = 0;          // the lowest `value` seen
   std::uint8_t flags = 0;          // bit 0: falling to the threshold predicts failure
   std::int64_t raw = 0;            // the vendor's own count, possibly several values packed
   Pelm::String rawString;          // the tool's rendering of `raw`; may be empty
   std::int64_t reportedValue = 0;  // for readers of the record: `value`, `raw` or degrees Celsius

   bool operator==(SmartAttr const &) const = default;

   // Whether the attribute is within its threshold: above it, or without one.
   bool isPassing() const { return thresh == 0 || value > thresh; }
};

// Whether the row has a possible temperature, -40 to 140 degrees Celsius.
VORN_API bool isValidSATATemp(SmartAttr const & attr);

// The temperature in degrees Celsius of a row that isValidSATATemp accepts. It is the whole number at the
// start of the raw string ("36 (Min/Max 20/45)"), else the lowest byte of the raw value.
VORN_API std::int64_t useRawStringTemperature(SmartAttr const & attr);

// An optional row.
class OptionalSmartAttr {
 public:
   OptionalSmartAttr() = default;
   static OptionalSmartAttr from(SmartAttr attr) {
      OptionalSmartAttr result;
      result.attr_ = std::move(attr);
      return result;
   }

   explicit operator bool() const { return attr_.has_value(); }
   // Raises an error if it is empty.
   SmartAttr const & operator*() const { return *attr_; }
   SmartAttr const * operator->() const { return &*attr_; }
   bool operator==(OptionalSmartAttr const &) const = default;

 private:
   Vorn::Optional<SmartAttr> attr_;
};

}  // namespace StorageDevices
