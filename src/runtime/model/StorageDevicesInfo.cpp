#include "runtime/model/StorageDevicesInfo.h"

#include <utility>

StorageDevErrorSyslogInfo::StorageDevErrorSyslogInfo(Pelm::String name, Pelm::String blockDevice,
                                                     Pelm::String interfaceAndAddress, bool removable)
    : name_{std::move(name)},
      blockDevice_{std::move(blockDevice)},
      interfaceAndAddress_{std::move(interfaceAndAddress)},
      removable_{removable} {}
StorageDevErrorSyslogInfo::~StorageDevErrorSyslogInfo() = default;

void StorageDevErrorSyslogInfo::kernelDevNameIs(Pelm::String value) {
   kernelDevName.valueIs(std::move(value));
}
void StorageDevErrorSyslogInfo::modelIs(Pelm::String value) {
   model.valueIs(std::move(value));
}
void StorageDevErrorSyslogInfo::firmwareRevisionIs(Pelm::String value) {
   firmwareRevision.valueIs(std::move(value));
}
void StorageDevErrorSyslogInfo::syslogTimestampIs(Vorn::Seconds value) {
   syslogTimestamp.valueIs(value);
}
void StorageDevErrorSyslogInfo::disconnectCountInc(std::uint32_t n) {
   disconnectCount.valueIs(disconnectCount() + n);
}

StorageDevicesInfo::StorageDevicesInfo() = default;
StorageDevicesInfo::~StorageDevicesInfo() = default;

void StorageDevicesInfo::fsListIs(Pelm::String const & name, Pelm::String blockDevice,
                                  Pelm::String interfaceAndAddress, bool removable) {
   Pelm::Ptr<StorageDevErrorSyslogInfo> const stored = fsList(name);
   if (!stored || !stored->isMadeOf(blockDevice, interfaceAndAddress, removable))
      fsList.memberIs(name, Pelm::make<StorageDevErrorSyslogInfo>(name, std::move(blockDevice),
                                                                  std::move(interfaceAndAddress), removable));
}
void StorageDevicesInfo::fsListDel(Pelm::String const & name) {
   fsList.memberDel(name);
}
void StorageDevicesInfo::fsListDelAll() {
   fsList.memberDelAll();
}
