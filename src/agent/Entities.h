// The entities that the monitors share: records, and the settings of the host.
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

// Entities with the settings of the configuration.
Entities entitiesOf(Config const & config);

// Changes poll interval, expected mounts and sensors of the entities from the settings of `before` to those
// of `now`. An unchanged sensor keeps its status.
void entitiesAre(Entities const & entities, Config const & before, Config const & now);

// Deletes the records of disks that are gone. Answers their number.
std::size_t forgetGoneDisks(Entities const & entities);

}  // namespace Agent
