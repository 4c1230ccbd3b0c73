// Drive models whose attributes deviate from the usual table.
#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "runtime/Export.h"
#include "runtime/Pelm/String.h"
#include "runtime/model/SmartData.h"

namespace StorageDevices {

// The mapping of one attribute of a drive model.
struct DriveSmartMappingEntry {
   SmartField field{};  // the field for it, under any name; none: it is ignored
   // Computes `reportedValue`; null: the normalised value.
   std::int64_t (*value)(SmartAttr const &) = nullptr;
   bool ignore = false;  // it is written to no named field

   bool operator==(DriveSmartMappingEntry const &) const = default;
};

// By attribute number.
using DriveSmartMapping = std::map<std::uint8_t, DriveSmartMappingEntry>;

class VORN_API DriveDatabase {
 public:
   DriveDatabase() = default;
   DriveDatabase(DriveDatabase const &) = delete;
   DriveDatabase & operator=(DriveDatabase const &) = delete;
   virtual ~DriveDatabase();

   // Empty for a model without deviations. `model` is the disk's own text: any bytes.
   virtual DriveSmartMapping findDeviceMapping(Pelm::String const & model) const = 0;
};

// Reads the host's database; without one every mapping is empty. The SMART monitor asks once per disk, when
// it appears.
VORN_API DriveSmartMapping findDeviceMapping(Pelm::String const & model);

// For the host, before it starts the SMART monitor. Null: none.
VORN_API void driveDatabaseIs(std::unique_ptr<DriveDatabase const> database);

}  // namespace StorageDevices
