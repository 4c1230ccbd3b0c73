// The SMART records of the unit's drives. Written by the SMART monitor alone.
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

// One drive's values at the last good reading.
class RUNTIME_API DeviceSmartData : public Pelm::Node {
 public:
   explicit DeviceSmartData(Pelm::String name);
   ~DeviceSmartData() override;

   // The drive's serial number, its key.
   Pelm::String const & name() const { return name_; }

   // The tool's overall health status. Invalid until `healthStatusRead`.
   Vorn::Attribute<bool, DeviceSmartData> healthStatusOk{*this, "healthStatusOk"};
   void healthStatusOkIs(bool value);
   // Whether a health status was ever read.
   Vorn::Attribute<bool, DeviceSmartData> healthStatusRead{*this, "healthStatusRead"};
   void healthStatusReadIs(bool value);

   // Whether every row of the table is within its threshold. Invalid until `attrsRead`.
   Vorn::Attribute<bool, DeviceSmartData> allAttrsPassing{*this, "allAttrsPassing"};
   void allAttrsPassingIs(bool value);
   // Whether a table was ever read.
   Vorn::Attribute<bool, DeviceSmartData> attrsRead{*this, "attrsRead"};
   void attrsReadIs(bool value);

   // The rows without a named field, by attribute number; of two with one number, the later.
   Vorn::Collection<std::uint8_t, SmartAttr, DeviceSmartData> unknownAttr{*this, "unknownAttr"};
   void unknownAttrIs(SmartAttr attr);
   void unknownAttrDel(std::uint8_t id);
   void unknownAttrDelAll();

   using Field = Vorn::Attribute<OptionalSmartAttr, DeviceSmartData>;
   Field rawReadErrorRate{*this, "rawReadErrorRate"};
   void rawReadErrorRateIs(OptionalSmartAttr attr);
   Field reallocatedSectorCount{*this, "reallocatedSectorCount"};
   void reallocatedSectorCountIs(OptionalSmartAttr attr);
   Field powerOnHours{*this, "powerOnHours"};
   void powerOnHoursIs(OptionalSmartAttr attr);
   Field powerCycleCount{*this, "powerCycleCount"};
   void powerCycleCountIs(OptionalSmartAttr attr);
   Field programFailCountTotal{*this, "programFailCountTotal"};
   void programFailCountTotalIs(OptionalSmartAttr attr);
   Field programFailCountChip{*this, "programFailCountChip"};
   void programFailCountChipIs(OptionalSmartAttr attr);
   Field wearLevelingCount{*this, "wearLevelingCount"};
   void wearLevelingCountIs(OptionalSmartAttr attr);
   Field eraseFailCountTotal{*this, "eraseFailCountTotal"};
   void eraseFailCountTotalIs(OptionalSmartAttr attr);
   Field eraseFailCountChip{*this, "eraseFailCountChip"};
   void eraseFailCountChipIs(OptionalSmartAttr attr);
   Field usedReserveBlockCountChip{*this, "usedReserveBlockCountChip"};
   void usedReserveBlockCountChipIs(OptionalSmartAttr attr);
   Field reportedUncorrectableErrorCount{*this, "reportedUncorrectableErrorCount"};
   void reportedUncorrectableErrorCountIs(OptionalSmartAttr attr);
   Field unexpectedPowerOffCount{*this, "unexpectedPowerOffCount"};
   void unexpectedPowerOffCountIs(OptionalSmartAttr attr);
   Field temperatureCelsius{*this, "temperatureCelsius"};
   void temperatureCelsiusIs(OptionalSmartAttr attr);
   Field hardwareEccRecovered{*this, "hardwareEccRecovered"};
   void hardwareEccRecoveredIs(OptionalSmartAttr attr);
   Field reallocationEventCount{*this, "reallocationEventCount"};
   void reallocationEventCountIs(OptionalSmartAttr attr);
   Field currentPendingSectorCount{*this, "currentPendingSectorCount"};
   void currentPendingSectorCountIs(OptionalSmartAttr attr);
   Field offlineUncorrectableSectorCount{*this, "offlineUncorrectableSectorCount"};
   void offlineUncorrectableSectorCountIs(OptionalSmartAttr attr);
   Field udmaCrcErrorCount{*this, "udmaCrcErrorCount"};
   void udmaCrcErrorCountIs(OptionalSmartAttr attr);
   Field availableReservedSpace{*this, "availableReservedSpace"};
   void availableReservedSpaceIs(OptionalSmartAttr attr);
   Field totalLbasWritten{*this, "totalLbasWritten"};
   void totalLbasWrittenIs(OptionalSmartAttr attr);
   Field totalLbasRead{*this, "totalLbasRead"};
   void totalLbasReadIs(OptionalSmartAttr attr);
   Field lifetimeRemaining{*this, "lifetimeRemaining"};
   void lifetimeRemainingIs(OptionalSmartAttr attr);

   // Empties the named fields and the unknown attributes.
   void clearAttrs();

   HealthReading reading{"smartctl"};

 private:
   Pelm::String name_;
};

// A named field and the function that writes it.
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

class RUNTIME_API SmartData : public Pelm::Node {
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
