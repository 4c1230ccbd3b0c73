#include "runtime/model/NvmeData.h"

#include <utility>

namespace StorageDevices {

DeviceNvmeData::DeviceNvmeData(Pelm::String name) : name_{std::move(name)} {}
DeviceNvmeData::~DeviceNvmeData() = default;

void DeviceNvmeData::criticalWarningIs(NvmeAttr attr) {
   criticalWarning.valueIs(std::move(attr));
}
void DeviceNvmeData::temperatureCelsiusIs(NvmeAttr attr) {
   temperatureCelsius.valueIs(std::move(attr));
}
void DeviceNvmeData::availableSpareIs(NvmeAttr attr) {
   availableSpare.valueIs(std::move(attr));
}
void DeviceNvmeData::availableSpareThresholdIs(NvmeAttr attr) {
   availableSpareThreshold.valueIs(std::move(attr));
}
void DeviceNvmeData::percentageUsedIs(NvmeAttr attr) {
   percentageUsed.valueIs(std::move(attr));
}
void DeviceNvmeData::dataUnitsReadIs(NvmeAttr attr) {
   dataUnitsRead.valueIs(std::move(attr));
}
void DeviceNvmeData::dataUnitsWrittenIs(NvmeAttr attr) {
   dataUnitsWritten.valueIs(std::move(attr));
}
void DeviceNvmeData::hostReadCommandsIs(NvmeAttr attr) {
   hostReadCommands.valueIs(std::move(attr));
}
void DeviceNvmeData::hostWriteCommandsIs(NvmeAttr attr) {
   hostWriteCommands.valueIs(std::move(attr));
}
void DeviceNvmeData::controllerBusyTimeIs(NvmeAttr attr) {
   controllerBusyTime.valueIs(std::move(attr));
}
void DeviceNvmeData::powerCycleCountIs(NvmeAttr attr) {
   powerCycleCount.valueIs(std::move(attr));
}
void DeviceNvmeData::powerOnHoursIs(NvmeAttr attr) {
   powerOnHours.valueIs(std::move(attr));
}
void DeviceNvmeData::unsafeShutdownsIs(NvmeAttr attr) {
   unsafeShutdowns.valueIs(std::move(attr));
}
void DeviceNvmeData::mediaErrorsIs(NvmeAttr attr) {
   mediaErrors.valueIs(std::move(attr));
}
void DeviceNvmeData::numErrLogEntriesIs(NvmeAttr attr) {
   numErrLogEntries.valueIs(std::move(attr));
}
void DeviceNvmeData::temperatureTimeWarningIs(NvmeAttr attr) {
   temperatureTimeWarning.valueIs(std::move(attr));
}
void DeviceNvmeData::temperatureTimeCriticalIs(NvmeAttr attr) {
   temperatureTimeCritical.valueIs(std::move(attr));
}

NvmeData::NvmeData() = default;
NvmeData::~NvmeData() = default;

void NvmeData::deviceDataIs(Pelm::String const & name) {
   if (!deviceData.contains(name))
      deviceData.memberIs(name, Pelm::make<DeviceNvmeData>(name));
}
void NvmeData::deviceDataDel(Pelm::String const & name) {
   deviceData.memberDel(name);
}
void NvmeData::deviceDataDelAll() {
   deviceData.memberDelAll();
}

}  // namespace StorageDevices
