// The attribute names that the record has a named field for.
#pragma once

#include <cstdint>
#include <string_view>

#include "runtime/model/SmartData.h"

namespace StorageDevices {

// What readers of the field take.
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

// Names under any number that tell of the life of the drive. Whether it is what is left or what is used
// depends on the vendor. One is spelled so by the drives' firmware.
inline constexpr std::string_view lifetimeNames[] = {"Percent_Lifetime_Used", "Perc_Rated_Life_Used",
                                                     "Percent_Lifetime_Remain", "Remainig_Lifetime_Perc",
                                                     "Lifetime_Remaining%"};

inline constexpr SmartField lifetimeField{&DeviceSmartData::lifetimeRemaining,
                                          &DeviceSmartData::lifetimeRemainingIs};

// The row of a number and a name; null when there is none. Several vendors' names may share a field.
KnownSmartAttr const * findKnownSmartAttr(std::uint8_t id, std::string_view name);

}  // namespace StorageDevices
