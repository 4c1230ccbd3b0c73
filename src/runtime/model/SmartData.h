// The SMART records of the unit's drives, from the report of `smartctl --json`. Written by the SMART monitor
// alone.
#pragma once

#include <cstdint>

#include "runtime/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/Collection.h"
#include "runtime/model/HealthReading.h"
#include "runtime/model/SmartAttr.h"

namespace StorageDevices {

// One drive's values at the last good reading. A reading that fails changes none of them. A reading with
// a table writes all of it: a row that is missing there empties its field.
class VORN_API DeviceSmartData : public Pelm::Node {
 public:
   explicit DeviceSmartData(Pelm::String name);
   ~DeviceSmartData() override;

   // The drive's serial number, its key.
   Pelm::String const & name() const { return name_; }

   // The drive's own assessment, "smart_status", "passed" of the report; false: the drive reports that it is
   // failing. Invalid until `healthStatusRead`.
   Vorn::Attribute<bool, DeviceSmartData> healthStatusOk{*this, "healthStatusOk"};
   void healthStatusOkIs(bool value);
   // Whether a health status was ever read.
   Vorn::Attribute<bool, DeviceSmartData> healthStatusRead{*this, "healthStatusRead"};
   void healthStatusReadIs(bool value);

   // Whether every row of the table is within its threshold (`SmartAttr::isPassing`), unknown ones included.
   // Invalid until `attrsRead`.
   Vorn::Attribute<bool, DeviceSmartData> allAttrsPassing{*this, "allAttrsPassing"};
   void allAttrsPassingIs(bool value);
   // Whether a table was ever read.
   Vorn::Attribute<bool, DeviceSmartData> attrsRead{*this, "attrsRead"};
   void attrsReadIs(bool value);

   // The rows without a named field, by attribute number, 0 to 255; of two with one number, the later. A row
   // whose field an earlier row occupies is here too.
   Vorn::Collection<std::uint8_t, SmartAttr, DeviceSmartData> unknownAttr{*this, "unknownAttr"};
   void unknownAttrIs(SmartAttr attr);
   void unknownAttrDel(std::uint8_t id);
   void unknownAttrDelAll();

   // The named fields: number and name of the row, then its `reportedValue`, which is the normalised value,
   // the raw one or degrees. Each holds the whole row, with both values and the threshold. A row belongs to a
   // field if number and name fit, or if the drive database maps its number to the field. Absent: the drive
   // has no such row, or no table was read yet.
   //
   // Normalised values are 0 to 255 and as a rule fall as the drive wears. Raw values are 48 bits of the
   // vendor's choice: what stands here is the usual meaning.
   using Field = Vorn::Attribute<OptionalSmartAttr, DeviceSmartData>;
   // 1 Raw_Read_Error_Rate. Normalised; the raw value is the vendor's own.
   Field rawReadErrorRate{*this, "rawReadErrorRate"};
   void rawReadErrorRateIs(OptionalSmartAttr attr);
   // 5 Reallocated_Sector_Ct, Reallocate_NAND_Blk_Cnt. Normalised; raw: sectors, of SSDs often blocks.
   Field reallocatedSectorCount{*this, "reallocatedSectorCount"};
   void reallocatedSectorCountIs(OptionalSmartAttr attr);
   // 9 Power_On_Hours. Raw; hours, which some vendors pack with minutes: `powerOnHours` of HealthFigures.h
   // reads them.
   Field powerOnHours{*this, "powerOnHours"};
   void powerOnHoursIs(OptionalSmartAttr attr);
   // 12 Power_Cycle_Count. Normalised; raw: how often the drive was switched on.
   Field powerCycleCount{*this, "powerCycleCount"};
   void powerCycleCountIs(OptionalSmartAttr attr);
   // 181 Program_Fail_Cnt_Total, 171 Program_Fail_Count. Normalised; raw: flash programs that failed.
   Field programFailCountTotal{*this, "programFailCountTotal"};
   void programFailCountTotalIs(OptionalSmartAttr attr);
   // 175 Program_Fail_Count_Chip. Normalised; raw: the same, of the worst chip.
   Field programFailCountChip{*this, "programFailCountChip"};
   void programFailCountChipIs(OptionalSmartAttr attr);
   // 177 Wear_Leveling_Count. Normalised; raw: erase cycles of the blocks, as a rule the mean.
   Field wearLevelingCount{*this, "wearLevelingCount"};
   void wearLevelingCountIs(OptionalSmartAttr attr);
   // 182 Erase_Fail_Count_Total, 172 Erase_Fail_Count. Normalised; raw: flash erasures that failed.
   Field eraseFailCountTotal{*this, "eraseFailCountTotal"};
   void eraseFailCountTotalIs(OptionalSmartAttr attr);
   // 176 Erase_Fail_Count_Chip. Normalised; raw: the same, of the worst chip.
   Field eraseFailCountChip{*this, "eraseFailCountChip"};
   void eraseFailCountChipIs(OptionalSmartAttr attr);
   // 178 Used_Rsvd_Blk_Cnt_Chip. Normalised; raw: reserved blocks used, of the worst chip.
   Field usedReserveBlockCountChip{*this, "usedReserveBlockCountChip"};
   void usedReserveBlockCountChipIs(OptionalSmartAttr attr);
   // 187 Reported_Uncorrect. Normalised; raw: errors that ECC could not correct, as reported to the host.
   Field reportedUncorrectableErrorCount{*this, "reportedUncorrectableErrorCount"};
   void reportedUncorrectableErrorCountIs(OptionalSmartAttr attr);
   // 192 Power-Off_Retract_Count. Normalised; raw: times that power went without a shutdown.
   Field unexpectedPowerOffCount{*this, "unexpectedPowerOffCount"};
   void unexpectedPowerOffCountIs(OptionalSmartAttr attr);
   // 194 Temperature_Celsius. Degrees Celsius, -40 to 140; a row out of that range is an unknown attribute.
   Field temperatureCelsius{*this, "temperatureCelsius"};
   void temperatureCelsiusIs(OptionalSmartAttr attr);
   // 195 Hardware_ECC_Recovered. Normalised; the raw value is the vendor's own.
   Field hardwareEccRecovered{*this, "hardwareEccRecovered"};
   void hardwareEccRecoveredIs(OptionalSmartAttr attr);
   // 196 Reallocated_Event_Count. Normalised; raw: reallocations tried, failed ones included.
   Field reallocationEventCount{*this, "reallocationEventCount"};
   void reallocationEventCountIs(OptionalSmartAttr attr);
   // 197 Current_Pending_Sector, Current_Pending_ECC_Cnt. Normalised; raw: sectors that wait for
   // reallocation.
   Field currentPendingSectorCount{*this, "currentPendingSectorCount"};
   void currentPendingSectorCountIs(OptionalSmartAttr attr);
   // 198 Offline_Uncorrectable. Normalised; raw: sectors that an offline scan could not read.
   Field offlineUncorrectableSectorCount{*this, "offlineUncorrectableSectorCount"};
   void offlineUncorrectableSectorCountIs(OptionalSmartAttr attr);
   // 199 UDMA_CRC_Error_Count. Normalised; raw: transfers that failed between host and drive, often the
   // cable's fault.
   Field udmaCrcErrorCount{*this, "udmaCrcErrorCount"};
   void udmaCrcErrorCountIs(OptionalSmartAttr attr);
   // 232 Available_Reservd_Space. Normalised, as a rule the percentage of spare blocks left.
   Field availableReservedSpace{*this, "availableReservedSpace"};
   void availableReservedSpaceIs(OptionalSmartAttr attr);
   // 241 Total_LBAs_Written, Host_Writes_32MiB. Normalised; raw: sectors of 512 bytes, or 32 MiB by the
   // second name.
   Field totalLbasWritten{*this, "totalLbasWritten"};
   void totalLbasWrittenIs(OptionalSmartAttr attr);
   // 242 Total_LBAs_Read, Host_Reads_32MiB. Normalised; raw: sectors of 512 bytes, or 32 MiB by the second
   // name.
   Field totalLbasRead{*this, "totalLbasRead"};
   void totalLbasReadIs(OptionalSmartAttr attr);
   // Any number, by one of five names such as Percent_Lifetime_Remain. Normalised; percent left, as a rule.
   Field lifetimeRemaining{*this, "lifetimeRemaining"};
   void lifetimeRemainingIs(OptionalSmartAttr attr);

   // Empties the named fields and the unknown attributes.
   void clearAttrs();

   // How the readings of this record go; not an attribute, so it notifies nobody. A reading counts as failed
   // where the run fails, or prints neither a health status nor a table.
   HealthReading reading{"smartctl"};

 private:
   Pelm::String name_;
};

// A named field and the function that writes it. The table below has every named field once.
struct SmartField {
   using Setter = void (DeviceSmartData::*)(OptionalSmartAttr);
   DeviceSmartData::Field DeviceSmartData::*cell;
   Setter set;

   bool operator==(SmartField const &) const = default;
};

inline constexpr SmartField smartFields[] = {
    {&DeviceSmartData::rawReadErrorRate, &DeviceSmartData::rawReadErrorRateIs},
    {&DeviceSmartData::reallocatedSectorCount, &DeviceSmartData::reallocatedSectorCountIs},
    {&DeviceSmartData::powerOnHours, &DeviceSmartData::powerOnHoursIs},
    {&DeviceSmartData::powerCycleCount, &DeviceSmartData::powerCycleCountIs},
    {&DeviceSmartData::programFailCountTotal, &DeviceSmartData::programFailCountTotalIs},
    {&DeviceSmartData::programFailCountChip, &DeviceSmartData::programFailCountChipIs},
    {&DeviceSmartData::wearLevelingCount, &DeviceSmartData::wearLevelingCountIs},
    {&DeviceSmartData::eraseFailCountTotal, &DeviceSmartData::eraseFailCountTotalIs},
    {&DeviceSmartData::eraseFailCountChip, &DeviceSmartData::eraseFailCountChipIs},
    {&DeviceSmartData::usedReserveBlockCountChip, &DeviceSmartData::usedReserveBlockCountChipIs},
    {&DeviceSmartData::reportedUncorrectableErrorCount, &DeviceSmartData::reportedUncorrectableErrorCountIs},
    {&DeviceSmartData::unexpectedPowerOffCount, &DeviceSmartData::unexpectedPowerOffCountIs},
    {&DeviceSmartData::temperatureCelsius, &DeviceSmartData::temperatureCelsiusIs},
    {&DeviceSmartData::hardwareEccRecovered, &DeviceSmartData::hardwareEccRecoveredIs},
    {&DeviceSmartData::reallocationEventCount, &DeviceSmartData::reallocationEventCountIs},
    {&DeviceSmartData::currentPendingSectorCount, &DeviceSmartData::currentPendingSectorCountIs},
    {&DeviceSmartData::offlineUncorrectableSectorCount, &DeviceSmartData::offlineUncorrectableSectorCountIs},
    {&DeviceSmartData::udmaCrcErrorCount, &DeviceSmartData::udmaCrcErrorCountIs},
    {&DeviceSmartData::availableReservedSpace, &DeviceSmartData::availableReservedSpaceIs},
    {&DeviceSmartData::totalLbasWritten, &DeviceSmartData::totalLbasWrittenIs},
    {&DeviceSmartData::totalLbasRead, &DeviceSmartData::totalLbasReadIs},
    {&DeviceSmartData::lifetimeRemaining, &DeviceSmartData::lifetimeRemainingIs},
};

// The records of all drives on a bus with a known address (SATA, USB, NVMe). A record goes with its drive:
// who needs the last values keeps the pointer.
class VORN_API SmartData : public Pelm::Node {
 public:
   SmartData();
   ~SmartData() override;

   // By serial number.
   Vorn::Collection<Pelm::String, Pelm::Ptr<DeviceSmartData>, SmartData> deviceData{*this, "deviceData"};

   // Creates the record of a name; an existing one stays.
   void deviceDataIs(Pelm::String const & name);
   void deviceDataDel(Pelm::String const & name);
   void deviceDataDelAll();
};

}  // namespace StorageDevices
