#include "StorageDevices/DeviceDetectionSm.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "StorageDevices/CharacterClasses.h"
#include "StorageDevices/Factories.h"
#include "StorageDevices/LogMessages.h"
#include "StorageDevices/RegularFile.h"
#include "runtime/Vorn/Machine.h"
#include "runtime/Vorn/Trace.h"

namespace StorageDevices {

namespace {

Vorn::TraceHandle traceHandle{"DeviceDetectionSm", true};
LogMessages detectionLogs;

constexpr std::string_view mountRoot = "/mnt/";
constexpr std::size_t maxWord = 4096;       // bytes of a path; the rest of a longer word is dropped
constexpr std::size_t maxFile = 1U << 20U;  // bytes; a longer file is no mount-source file

// A device-mapper node does not show the disk below it.
bool isMapperNode(std::string_view word) {
   constexpr std::string_view prefix = "/dev/dm-";
   return word.starts_with(prefix) && word.size() > prefix.size() && isDigit(word[prefix.size()]);
}

// Removes the next word from the text and answers it; empty at the end.
std::string_view takeWord(std::string_view & text) {
   auto const * const begin = std::find_if_not(text.begin(), text.end(), isSpace);
   auto const * const end = std::find_if(begin, text.end(), isSpace);
   text = {end, text.end()};
   return std::string_view{begin, end}.substr(0, maxWord);
}

std::string mountName(ConnectedDisk const & disk) {
   std::string_view mount = disk.mountPoint().view();
   if (mount.starts_with(mountRoot))
      mount.remove_prefix(mountRoot.size());
   return std::string{mount};
}

}  // namespace

DeviceDetectionSm::DeviceDetectionSm(Pelm::Ptr<FruConfig const> fruConfig,
                                     Pelm::Ptr<ConnectedDevices const> devices)
    : fruConfig_{std::move(fruConfig)}, devices_{std::move(devices)} {
   devicesReactor_.notifierIs(devices_);
   devicesReactor_.on<&DeviceDetectionSm::handleDisk>(devices_->disk, *this);
   devicesReactor_.hasNotificationActiveIs(true);
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
      detectionLogs.detectionError(mountPoint);
   }
}

void DeviceDetectionSm::checkMountSource(ConnectedDisk const & disk) const {
   std::string const directory = fruConfig_->mountSourceDir().str();
   std::string const path = directory + "/" + mountName(disk);
   FileText file = readMountSource(directory, mountName(disk), maxFile + 1);
   if (file.openError != 0) {
      VORN_TRACE(traceHandle, 0) << " Could not open mount path: " << path;
      return;
   }
   bool const tooLong = file.text.size() > maxFile;
   // The bound may cut a word.
   while (tooLong && !file.text.empty() && !isSpace(file.text.back()))
      file.text.pop_back();
   Pelm::String const & expected = disk.blockDevice();
   std::string_view rest = file.text;
   for (auto word = takeWord(rest); !word.empty(); word = takeWord(rest)) {
      if (word.starts_with(expected.view()))
         return;
      if (isMapperNode(word))
         continue;
      VORN_TRACE(traceHandle, 2) << "Found one unexpected-partition-mounted error, problem device: "
                                 << expected;
      detectionLogs.unexpectedPartitionMounted(word, disk.mountPoint(), expected);
      return;
   }
   if (file.failed() || tooLong) {
      VORN_TRACE(traceHandle, 0) << "An error occurred while reading themount file: " << path;
      return;
   }
   VORN_TRACE(traceHandle, 2) << "Found one partition-not-found error. Problem device: " << expected;
   detectionLogs.partitionNotMounted(expected, disk.mountPoint());
}

void DeviceDetectionSm::handleDisk(Pelm::String const & serial,
                                   Vorn::Change<Pelm::Ptr<ConnectedDisk>> const & change) {
   bool const deleted = change.old && !change.now;
   if (!deleted || (*change.old)->removable())
      return;
   VORN_TRACE(traceHandle, 2) << "handleDisk"
                              << " Found one device-offline error,"
                              << "serial number: " << serial;
   detectionLogs.offline(serial);
}

Pelm::Ptr<DeviceDetectionSm> deviceDetectionSmFactory(Pelm::Ptr<FruConfig const> const & fruConfig,
                                                      Pelm::Ptr<ConnectedDevices const> const & devices) {
   return Vorn::makeMachine<DeviceDetectionSm>(fruConfig, devices);
}

}  // namespace StorageDevices
