#include "runtime/model/FruConfig.h"

#include <utility>

FruConfig::FruConfig() = default;
FruConfig::~FruConfig() = default;

void FruConfig::etcDirIs(Pelm::String value) {
   etcDir.valueIs(std::move(value));
}
void FruConfig::mountSourceDirIs(Pelm::String value) {
   mountSourceDir.valueIs(std::move(value));
}
void FruConfig::expectedMountsIs(Pelm::String const & mount) {
   expectedMounts.memberIs(mount, {});
}
void FruConfig::expectedMountsDel(Pelm::String const & mount) {
   expectedMounts.memberDel(mount);
}
void FruConfig::expectedMountsDelAll() {
   expectedMounts.memberDelAll();
}
void FruConfig::serialToSensorMapIs(Pelm::String const & serial, Pelm::String sensor) {
   serialToSensorMap.memberIs(serial, std::move(sensor));
}
void FruConfig::serialToSensorMapDel(Pelm::String const & serial) {
   serialToSensorMap.memberDel(serial);
}
void FruConfig::serialToSensorMapDelAll() {
   serialToSensorMap.memberDelAll();
}
