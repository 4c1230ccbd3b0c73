// The attributes that have a named field in the record.
#pragma once

#include <cstdint>
#include <string_view>

#include "runtime/model/SmartData.h"

namespace StorageDevices {

// The source of `reportedValue`.
enum class SmartSource : std::uint8_t { value, raw, temperature };

struct KnownSmartAttr {
   constexpr KnownSmartAttr(std::uint8_t number, std::string_view text, SmartField const & where,
                            SmartSource what = SmartSource::value)
       : name{text}, field{where}, id{number}, source{what} {}

   std::string_view name;
   SmartField field;
   std::uint8_t id;
   SmartSource source;
};

// Names, under any number, of the drive's life: the percentage left or used, depending on the vendor. The odd
// spelling is that of the drives' firmware.
inline constexpr std::string_view lifetimeNames[] = {"Percent_Lifetime_Used", "Perc_Rated_Life_Used",
                                                     "Percent_Lifetime_Remain", "Remainig_Lifetime_Perc",
                                                     "Lifetime_Remaining%"};

inline constexpr SmartField lifetimeField{&DeviceSmartData::lifetimeRemaining,
                                          &DeviceSmartData::lifetimeRemainingIs};

// The row with that number and name; null when there is none. Names of several vendors may share a field.
KnownSmartAttr const * findKnownSmartAttr(std::uint8_t id, std::string_view name);

}  // namespace StorageDevices
