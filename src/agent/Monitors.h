// All monitors of the library and the entities that they share. For them the agent writes the mount-source
// files, forwards the kernel's messages, and delays the monitors that examine the disks only once.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "StorageDevices/ConnectedDevicesSm.h"
#include "StorageDevices/DeviceDetectionSm.h"
#include "StorageDevices/DeviceLifetimeMonitorSm.h"
#include "StorageDevices/EmmcDataMonitorSm.h"
#include "StorageDevices/IOStatSm.h"
#include "StorageDevices/MountPtMonitorManagerSm.h"
#include "StorageDevices/NvmeDataMonitorSm.h"
#include "StorageDevices/SdErrWatcherSm.h"
#include "StorageDevices/SettledStart.h"
#include "StorageDevices/SmartDataMonitorSm.h"
#include "StorageDevices/TempSensorSm.h"
#include "agent/Entities.h"
#include "agent/MountSources.h"
#include "agent/Rescans.h"
#include "agent/SimulatedRoot.h"
#include "agent/config/Config.h"
#include "agent/documents/StateDocument.h"
#include "agent/kernel/ClockWatch.h"
#include "agent/kernel/KernelForwarder.h"
#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Pelm/Ptr.h"

namespace Agent {

class Monitors {
 public:
   // A line for the operator, with its syslog severity.
   using Notice = std::function<void(int severity, std::string const & text)>;

   Monitors(Config const & config, Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker, Notice notice);

   // To be called once. A monitor that cannot run is reported; the others run.
   void start();

   // Applies the changes since the configuration `before` to monitors and entities, and forgets disks that
   // are gone. Answers the number of forgotten disks.
   std::size_t reload(Config const & before);

   Entities const & entities() const { return entities_; }
   bool internalDevicesReady() const { return discovery_ && discovery_->internalDevicesReady(); }
   // Ready, and no device waits to be classified.
   bool allDevicesKnown() const { return internalDevicesReady() && discovery_->unclassifiedDevice.empty(); }
   IoStatErrors ioStatErrors() const;
   // Empty while the agent forwards no lines of the kernel.
   std::optional<KernelLineCounts> kernelLines() const {
      return kernelForwarder_ ? std::optional{kernelLines_} : std::nullopt;
   }
   RecordKeepers recordKeepers() const;

 private:
   void startSimulation();
   void startDiscovery();
   void reportApplianceErrors();
   void startHealth();
   void startKernelErrors();
   void startForwarding();
   void makeForwarder();
   void startMountSources();
   void startSettled();

   Config const & config_;
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker_;
   Notice notice_;
   Entities entities_;
   Pelm::Ptr<StorageDevices::ConnectedDevicesSm> discovery_;
   std::unique_ptr<Rescans> rescans_;
   Pelm::Ptr<StorageDevices::SmartDataMonitorSm> smart_;
   Pelm::Ptr<StorageDevices::NvmeDataMonitorSm> nvme_;
   Pelm::Ptr<StorageDevices::EmmcDataMonitorSm> emmc_;
   Pelm::Ptr<StorageDevices::IOStatSm> ioStat_;
   Pelm::Ptr<StorageDevices::DeviceLifetimeMonitorSm> lifetime_;
   Pelm::Ptr<StorageDevices::TempSensorSm> temperature_;
   Pelm::Ptr<StorageDevices::StorageDeviceErrWatcherSm> kernelErrors_;
   std::optional<ClockWatch> clockWatch_;
   KernelLineCounts kernelLines_;  // of all forwarders, those that a reload has ended included
   std::unique_ptr<KernelForwarder> kernelForwarder_;
   std::unique_ptr<SimulatedRoot> simulatedRoot_;
   std::unique_ptr<MountSources> mountSources_;
   std::unique_ptr<StorageDevices::SettledStart> settledStart_;
   Pelm::Ptr<StorageDevices::DeviceDetectionSm> detection_;
   Pelm::Ptr<StorageDevices::MountPtMonitorManagerSm> mountPoints_;
};

}  // namespace Agent
