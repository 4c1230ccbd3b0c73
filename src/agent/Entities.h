// What the monitors share: the records that they read and write, and what the host tells them.
#pragma once

#include <cstddef>

#include "StorageDevices/ConnectedDevices.h"
#include "agent/config/Config.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Dir.h"
#include "runtime/model/EmmcData.h"
#include "runtime/model/FruConfig.h"
#include "runtime/model/IOStatData.h"
#include "runtime/model/NvmeData.h"
#include "runtime/model/PollInterval.h"
#include "runtime/model/SmartData.h"
#include "runtime/model/StorageDevicesInfo.h"
#include "runtime/model/Temperature.h"

namespace Agent {

struct Entities {
   Pelm::Ptr<PollInterval> pollInterval = Pelm::make<PollInterval>();
   Pelm::Ptr<FruConfig> fruConfig = Pelm::make<FruConfig>();
   Pelm::Ptr<Environment::Temperature::Config> sensors = Pelm::make<Environment::Temperature::Config>();
   Pelm::Ptr<Vorn::Dir> sensorStatus = Pelm::make<Vorn::Dir>();
   Pelm::Ptr<StorageDevices::ConnectedDevices> devices = Pelm::make<StorageDevices::ConnectedDevices>();
   Pelm::Ptr<StorageDevices::SmartData> smart = Pelm::make<StorageDevices::SmartData>();
   Pelm::Ptr<StorageDevices::NvmeData> nvme = Pelm::make<StorageDevices::NvmeData>();
   Pelm::Ptr<StorageDevices::EmmcData> emmc = Pelm::make<StorageDevices::EmmcData>();
   Pelm::Ptr<StorageDevices::IOStatData> ioStat = Pelm::make<StorageDevices::IOStatData>();
   Pelm::Ptr<StorageDevicesInfo> kernelErrors = Pelm::make<StorageDevicesInfo>();
};

// As the configuration has them.
Entities entitiesOf(Config const & config);

// Has the entities that were made for `before` say what `now` says of the poll interval, the expected mounts
// and the sensors. A sensor that stays as it was keeps its status.
void entitiesAre(Entities const & entities, Config const & before, Config const & now);

// Deletes the records that are kept of disks that are gone; how many.
std::size_t forgetGoneDisks(Entities const & entities);

}  // namespace Agent
