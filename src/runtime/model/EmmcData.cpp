#include "runtime/model/EmmcData.h"

#include <utility>

namespace StorageDevices {

DeviceEmmcData::DeviceEmmcData(Pelm::String name) : name_{std::move(name)} {}
DeviceEmmcData::~DeviceEmmcData() = default;

void DeviceEmmcData::lifetimeEstTypAIs(LifetimeEmmcAttr value) {
   lifetimeEstTypA.valueIs(value);
}
void DeviceEmmcData::lifetimeEstTypBIs(LifetimeEmmcAttr value) {
   lifetimeEstTypB.valueIs(value);
}
void DeviceEmmcData::preEolInfoIs(PreEolEmmcAttr value) {
   preEolInfo.valueIs(value);
}

EmmcData::EmmcData() = default;
EmmcData::~EmmcData() = default;

void EmmcData::deviceDataIs(Pelm::String const & name) {
   if (!deviceData.contains(name))
      deviceData.memberIs(name, Pelm::make<DeviceEmmcData>(name));
}
void EmmcData::deviceDataDel(Pelm::String const & name) {
   deviceData.memberDel(name);
}
void EmmcData::deviceDataDelAll() {
   deviceData.memberDelAll();
}

}  // namespace StorageDevices
