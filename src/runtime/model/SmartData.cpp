#include "runtime/model/SmartData.h"

#include <utility>

namespace StorageDevices {

DeviceSmartData::DeviceSmartData(Pelm::String name) : name_{std::move(name)} {}
DeviceSmartData::~DeviceSmartData() = default;

void DeviceSmartData::healthStatusOkIs(bool value) {
   healthStatusOk.valueIs(value);
}
void DeviceSmartData::healthStatusReadIs(bool value) {
   healthStatusRead.valueIs(value);
}
void DeviceSmartData::allAttrsPassingIs(bool value) {
   allAttrsPassing.valueIs(value);
}
void DeviceSmartData::attrsReadIs(bool value) {
   attrsRead.valueIs(value);
}
void DeviceSmartData::unknownAttrIs(SmartAttr attr) {
   std::uint8_t const id = attr.id;
   unknownAttr.memberIs(id, std::move(attr));
}
void DeviceSmartData::unknownAttrDel(std::uint8_t id) {
   unknownAttr.memberDel(id);
}
void DeviceSmartData::unknownAttrDelAll() {
   unknownAttr.memberDelAll();
}
void DeviceSmartData::rawReadErrorRateIs(OptionalSmartAttr attr) {
   rawReadErrorRate.valueIs(std::move(attr));
}
void DeviceSmartData::reallocatedSectorCountIs(OptionalSmartAttr attr) {
   reallocatedSectorCount.valueIs(std::move(attr));
}
void DeviceSmartData::powerOnHoursIs(OptionalSmartAttr attr) {
   powerOnHours.valueIs(std::move(attr));
}
void DeviceSmartData::powerCycleCountIs(OptionalSmartAttr attr) {
   powerCycleCount.valueIs(std::move(attr));
}
void DeviceSmartData::programFailCountTotalIs(OptionalSmartAttr attr) {
   programFailCountTotal.valueIs(std::move(attr));
}
void DeviceSmartData::programFailCountChipIs(OptionalSmartAttr attr) {
   programFailCountChip.valueIs(std::move(attr));
}
void DeviceSmartData::wearLevelingCountIs(OptionalSmartAttr attr) {
   wearLevelingCount.valueIs(std::move(attr));
}
void DeviceSmartData::eraseFailCountTotalIs(OptionalSmartAttr attr) {
   eraseFailCountTotal.valueIs(std::move(attr));
}
void DeviceSmartData::eraseFailCountChipIs(OptionalSmartAttr attr) {
   eraseFailCountChip.valueIs(std::move(attr));
}
void DeviceSmartData::usedReserveBlockCountChipIs(OptionalSmartAttr attr) {
   usedReserveBlockCountChip.valueIs(std::move(attr));
}
void DeviceSmartData::reportedUncorrectableErrorCountIs(OptionalSmartAttr attr) {
   reportedUncorrectableErrorCount.valueIs(std::move(attr));
}
void DeviceSmartData::unexpectedPowerOffCountIs(OptionalSmartAttr attr) {
   unexpectedPowerOffCount.valueIs(std::move(attr));
}
void DeviceSmartData::temperatureCelsiusIs(OptionalSmartAttr attr) {
   temperatureCelsius.valueIs(std::move(attr));
}
void DeviceSmartData::hardwareEccRecoveredIs(OptionalSmartAttr attr) {
   hardwareEccRecovered.valueIs(std::move(attr));
}
void DeviceSmartData::reallocationEventCountIs(OptionalSmartAttr attr) {
   reallocationEventCount.valueIs(std::move(attr));
}
void DeviceSmartData::currentPendingSectorCountIs(OptionalSmartAttr attr) {
   currentPendingSectorCount.valueIs(std::move(attr));
}
void DeviceSmartData::offlineUncorrectableSectorCountIs(OptionalSmartAttr attr) {
   offlineUncorrectableSectorCount.valueIs(std::move(attr));
}
void DeviceSmartData::udmaCrcErrorCountIs(OptionalSmartAttr attr) {
   udmaCrcErrorCount.valueIs(std::move(attr));
}
void DeviceSmartData::availableReservedSpaceIs(OptionalSmartAttr attr) {
   availableReservedSpace.valueIs(std::move(attr));
}
void DeviceSmartData::totalLbasWrittenIs(OptionalSmartAttr attr) {
   totalLbasWritten.valueIs(std::move(attr));
}
void DeviceSmartData::totalLbasReadIs(OptionalSmartAttr attr) {
   totalLbasRead.valueIs(std::move(attr));
}
void DeviceSmartData::lifetimeRemainingIs(OptionalSmartAttr attr) {
   lifetimeRemaining.valueIs(std::move(attr));
}

void DeviceSmartData::clearAttrs() {
   for (SmartField const & field : smartFields)
      if ((this->*field.cell)())
         (this->*field.set)({});
   unknownAttrDelAll();
}

SmartData::SmartData() = default;
SmartData::~SmartData() = default;

void SmartData::deviceDataIs(Pelm::String const & name) {
   if (!deviceData.contains(name))
      deviceData.memberIs(name, Pelm::make<DeviceSmartData>(name));
}
void SmartData::deviceDataDel(Pelm::String const & name) {
   deviceData.memberDel(name);
}
void SmartData::deviceDataDelAll() {
   deviceData.memberDelAll();
}

}  // namespace StorageDevices
