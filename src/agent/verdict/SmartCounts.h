// The counts of SMART that foretell a failure, and the attributes below their thresholds.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "runtime/model/SmartData.h"

namespace Agent {

// Under other names a vendor counts something else at that number.
struct SmartCount {
   std::uint8_t id;
   std::array<std::string_view, 3> names;
   std::uint64_t largest;  // a larger raw value packs several counts
};

inline constexpr std::uint64_t sectorLimit = 0xffffffff;
// Vendors pack three counts of 16 bits.
inline constexpr std::uint64_t timeoutLimit = 0xffff;

inline constexpr SmartCount reallocatedSectors{
    5, {"Reallocated_Sector_Ct", "Reallocate_NAND_Blk_Cnt"}, sectorLimit};
inline constexpr SmartCount reportedUncorrectable{
    187, {"Reported_Uncorrect", "Uncorrectable_Error_Cnt"}, sectorLimit};
inline constexpr SmartCount commandTimeouts{188, {"Command_Timeout"}, timeoutLimit};
inline constexpr SmartCount pendingSectors{
    197, {"Current_Pending_Sector", "Current_Pending_ECC_Cnt", "Pending_Sector_Count"}, sectorLimit};
inline constexpr SmartCount offlineUncorrectable{198, {"Offline_Uncorrectable"}, sectorLimit};

// 0 where the drive has no such count, or packs it with others.
std::uint64_t smartCount(StorageDevices::DeviceSmartData const & record, SmartCount const & count);

// Their names, "A, B"; of more than three the first three.
std::string attrsBelowThreshold(StorageDevices::DeviceSmartData const & record);

}  // namespace Agent
