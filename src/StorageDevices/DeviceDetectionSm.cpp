#include "StorageDevices/DeviceDetectionSm.h"

#include <fstream>
#include <iomanip>
#include <string>
#include <string_view>
#include <utility>

#include "StorageDevices/CharacterClasses.h"
#include "StorageDevices/Factories.h"
#include "StorageDevices/LogMessages.h"
#include "runtime/Vorn/Machine.h"
#include "runtime/Vorn/Trace.h"

namespace StorageDevices {

namespace {

Vorn::TraceHandle traceHandle{"DeviceDetectionSm", true};
LogMessages logs;

constexpr std::string_view mountRoot = "/mnt/";
constexpr int maxWord = 4096;  // a path has no more; the rest counts as the next word

// Device-mapper nodes: a file system on one tells nothing of the disk below.
bool isMapperNode(std::string_view word) {
   constexpr std::string_view prefix = "/dev/dm-";
   return word.starts_with(prefix) && word.size() > prefix.size() && isDigit(word[prefix.size()]);
}

std::string mountSourcePath(FruConfig const & fruConfig, ConnectedDisk const & disk) {
   std::string_view mount = disk.mountPoint().view();
   if (mount.starts_with(mountRoot))
      mount.remove_prefix(mountRoot.size());
   return fruConfig.mountSourceDir().str() + "/" + std::string{mount};
}

}  // namespace

DeviceDetectionSm::DeviceDetectionSm(Pelm::Ptr<FruConfig const> fruConfig,
                                     Pelm::Ptr<ConnectedDevices const> devices)
    : fruConfig_{std::move(fruConfig)}, devices_{std::move(devices)} {
   devicesReactor_.notifierIs(devices_);
   devicesReactor_.on<&DeviceDetectionSm::handleDisk>(devices_->disk, *this);
   devicesReactor_.hasNotificationActiveIs(true);
}

void DeviceDetectionSm::vornDoZombieReactors(bool zombie) {
   devicesReactor_.hasNotificationActiveIs(!zombie);
}

void DeviceDetectionSm::handleInitialized() {
   checkExpectedMounts();
   for (auto const & [serial, disk] : devices_->disk)
      checkMountSource(*disk);
}

void DeviceDetectionSm::checkExpectedMounts() const {
   for (auto const & [mount, expected] : fruConfig_->expectedMounts) {
      Pelm::String const mountPoint{std::string{mountRoot} + mount.str()};
      if (!devices_->getDiskMountedAt(mountPoint).empty())
         continue;
      VORN_TRACE(traceHandle, 2) << " Found one detection error in fruConfig, mount path: /mnt/" << mount;
      logs.detectionError(mountPoint);
   }
}

void DeviceDetectionSm::checkMountSource(ConnectedDisk const & disk) const {
   std::string const path = mountSourcePath(*fruConfig_, disk);
   std::ifstream file{path};
   if (!file) {
      VORN_TRACE(traceHandle, 0) << " Could not open mount path: " << path;
      return;
   }
   Pelm::String const & expected = disk.blockDevice();
   std::string word;
   while (file >> std::setw(maxWord) >> word) {
      if (word.starts_with(expected.str()))
         return;
      if (isMapperNode(word))
         continue;
      VORN_TRACE(traceHandle, 2) << "Found one unexpected-partition-mounted error, problem device: "
                                 << expected;
      logs.unexpectedPartitionMounted(word, disk.mountPoint(), expected);
      return;
   }
   if (!file.eof()) {
      VORN_TRACE(traceHandle, 0) << "An error occurred while reading themount file: " << path;
      return;
   }
   VORN_TRACE(traceHandle, 2) << "Found one partition-not-found error. Problem device: " << expected;
   logs.partitionNotMounted(expected, disk.mountPoint());
}

void DeviceDetectionSm::handleDisk(Pelm::String const & serial,
                                   Vorn::Change<Pelm::Ptr<ConnectedDisk>> const & change) {
   bool const deleted = change.old && !change.now;
   if (!deleted || (*change.old)->removable())
      return;
   VORN_TRACE(traceHandle, 2) << "handleDisk"
                              << " Found one device-offline error,"
                              << "serial number: " << serial;
   logs.offline(serial);
}

Pelm::Ptr<DeviceDetectionSm> deviceDetectionSmFactory(Pelm::Ptr<FruConfig const> const & fruConfig,
                                                      Pelm::Ptr<ConnectedDevices const> const & devices) {
   return Vorn::makeMachine<DeviceDetectionSm>(fruConfig, devices);
}

}  // namespace StorageDevices
