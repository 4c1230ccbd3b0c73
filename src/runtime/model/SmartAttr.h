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
   Pelm::String name;               // as the tool prints it, for example Power_On_Hours
   std::uint8_t thresh = 0;         // failure threshold; 0: none
   std::uint8_t value = 0;          // normalised: falls from 100, 200 or 253 as the drive wears
   std::uint8_t worst = 0;          // the lowest `value` seen
   std::uint8_t flags = 0;          // bit 0: falling to the threshold predicts failure
   std::int64_t raw = 0;            // the vendor's own count, packed as the vendor likes
   Pelm::String rawString;          // the tool's rendering of `raw`; may be empty
   std::int64_t reportedValue = 0;  // what readers of the record take: `value`, `raw` or degrees Celsius

   bool operator==(SmartAttr const &) const = default;

   // Whether the attribute is within its threshold: above it, or without one.
   bool isPassing() const { return thresh == 0 || value > thresh; }
};

// Whether the row gives a temperature that a drive can have, -40 to 140 degrees Celsius.
RUNTIME_API bool isValidSATATemp(SmartAttr const & attr);

// The temperature of a row that passes isValidSATATemp, in degrees Celsius: the whole number at the start
// of the raw string ("36 (Min/Max 20/45)"), or where there is none the lowest byte of the raw value.
RUNTIME_API std::int64_t useRawStringTemperature(SmartAttr const & attr);

// A row that the drive may not have.
class OptionalSmartAttr {
 public:
   OptionalSmartAttr() = default;
   static OptionalSmartAttr from(SmartAttr attr) {
      OptionalSmartAttr result;
      result.attr_ = std::move(attr);
      return result;
   }

   explicit operator bool() const { return attr_.has_value(); }
   // Raises an error when there is none.
   SmartAttr const & operator*() const { return *attr_; }
   SmartAttr const * operator->() const { return &*attr_; }
   bool operator==(OptionalSmartAttr const &) const = default;

 private:
   Vorn::Optional<SmartAttr> attr_;
};

}  // namespace StorageDevices
