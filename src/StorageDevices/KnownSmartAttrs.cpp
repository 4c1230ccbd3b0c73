#include "StorageDevices/KnownSmartAttrs.h"

#include <algorithm>
#include <iterator>

namespace StorageDevices {

namespace {

#define SMART_FIELD(name) \
   { &DeviceSmartData::name, &DeviceSmartData::name##Is }

// Sorted by number. Another vendor's name for an attribute is a row of its own.
constexpr KnownSmartAttr knownSmartAttrs[] = {
    {1, "Raw_Read_Error_Rate", SMART_FIELD(rawReadErrorRate)},
    {5, "Reallocated_Sector_Ct", SMART_FIELD(reallocatedSectorCount)},
    {5, "Reallocate_NAND_Blk_Cnt", SMART_FIELD(reallocatedSectorCount)},
    {9, "Power_On_Hours", SMART_FIELD(powerOnHours), SmartSource::raw},
    {12, "Power_Cycle_Count", SMART_FIELD(powerCycleCount)},
    {171, "Program_Fail_Count", SMART_FIELD(programFailCountTotal)},
    {172, "Erase_Fail_Count", SMART_FIELD(eraseFailCountTotal)},
    {175, "Program_Fail_Count_Chip", SMART_FIELD(programFailCountChip)},
    {176, "Erase_Fail_Count_Chip", SMART_FIELD(eraseFailCountChip)},
    {177, "Wear_Leveling_Count", SMART_FIELD(wearLevelingCount)},
    {178, "Used_Rsvd_Blk_Cnt_Chip", SMART_FIELD(usedReserveBlockCountChip)},
    {181, "Program_Fail_Cnt_Total", SMART_FIELD(programFailCountTotal)},
    {182, "Erase_Fail_Count_Total", SMART_FIELD(eraseFailCountTotal)},
    {187, "Reported_Uncorrect", SMART_FIELD(reportedUncorrectableErrorCount)},
    {192, "Power-Off_Retract_Count", SMART_FIELD(unexpectedPowerOffCount)},
    {194, "Temperature_Celsius", SMART_FIELD(temperatureCelsius), SmartSource::temperature},
    {195, "Hardware_ECC_Recovered", SMART_FIELD(hardwareEccRecovered)},
    {196, "Reallocated_Event_Count", SMART_FIELD(reallocationEventCount)},
    {197, "Current_Pending_Sector", SMART_FIELD(currentPendingSectorCount)},
    {197, "Current_Pending_ECC_Cnt", SMART_FIELD(currentPendingSectorCount)},
    {198, "Offline_Uncorrectable", SMART_FIELD(offlineUncorrectableSectorCount)},
    {199, "UDMA_CRC_Error_Count", SMART_FIELD(udmaCrcErrorCount)},
    {232, "Available_Reservd_Space", SMART_FIELD(availableReservedSpace)},
    {241, "Total_LBAs_Written", SMART_FIELD(totalLbasWritten)},
    {241, "Host_Writes_32MiB", SMART_FIELD(totalLbasWritten)},
    {242, "Total_LBAs_Read", SMART_FIELD(totalLbasRead)},
    {242, "Host_Reads_32MiB", SMART_FIELD(totalLbasRead)},
};

#undef SMART_FIELD

constexpr auto isOfLowerId = [](KnownSmartAttr const & a, KnownSmartAttr const & b) { return a.id < b.id; };
static_assert(std::is_sorted(std::begin(knownSmartAttrs), std::end(knownSmartAttrs), isOfLowerId));

}  // namespace

KnownSmartAttr const * findKnownSmartAttr(std::uint8_t id, std::string_view name) {
   KnownSmartAttr const * row =
       std::lower_bound(std::begin(knownSmartAttrs), std::end(knownSmartAttrs), id,
                        [](KnownSmartAttr const & known, std::uint8_t wanted) { return known.id < wanted; });
   for (; row != std::end(knownSmartAttrs) && row->id == id; ++row)
      if (row->name == name)
         return row;
   return nullptr;
}

}  // namespace StorageDevices
