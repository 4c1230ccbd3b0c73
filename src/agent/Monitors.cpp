#include "agent/Monitors.h"

#include <syslog.h>

#include <sys/socket.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

#include "StorageDevices/DiscoveryPreview.h"
#include "StorageDevices/Factories.h"
#include "base/SimulatedUnit.h"
#include "base/SocketPath.h"
#include "runtime/Vorn/Shortage.h"

namespace Agent {

namespace {

std::string kernelSocketNotice(std::string const & path) {
   std::error_code ignored;
   bool const hasDirectory =
       std::filesystem::is_directory(std::filesystem::path{path}.parent_path(), ignored);
   return path + ": the socket for kernel messages cannot be made there, so storage errors that the kernel " +
          "reports go unnoticed; " +
          (hasDirectory ? "see that its directory can be written and nothing is in the way,"
                        : "make its directory") +
          " or set kernel_messages.socket elsewhere";
}

// Why the path cannot be used.
std::optional<std::string> socketPathError(std::string const & path) {
   try {
      Base::clearSocketPath(path, SOCK_DGRAM, "kernel_messages.socket");
   } catch (std::system_error const & error) {
      return Vorn::errorAndRemedy(error);
   } catch (Base::SocketError const & error) {
      return error.what();
   }
   return {};
}

}  // namespace

Monitors::Monitors(Config const & config, Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker, Notice notice)
    : config_{config},
      tracker_{std::move(tracker)},
      notice_{std::move(notice)},
      entities_{entitiesOf(config)} {}

void Monitors::start() {
   startSimulation();
   startDiscovery();
   startHealth();
   startKernelErrors();
   startSettled();
}

void Monitors::startSimulation() {
   auto const folder = Base::simulatedRoot();
   if (!folder)
      return;
   simulatedRoot_ = std::make_unique<SimulatedRoot>(*folder);
   notice_(LOG_WARNING, "this is a simulation: the mount points are those of " + *folder + ", since " +
                            Base::simulatedRootVariable + " names it");
}

void Monitors::startDiscovery() {
   discovery_ = StorageDevices::connectedDevicesSmFactory(entities_.fruConfig, entities_.devices, tracker_);
   rescans_ = std::make_unique<Rescans>(discovery_, notice_);
   reportApplianceErrors();
   if (discovery_ && discovery_->etcBlockDev().empty())
      notice_(LOG_WARNING, config_.appliance.etcDir +
                               "/blockdev names no disk, so none is watched; "
                               "'storagedevices check-config' shows how each disk would be classified");
}

void Monitors::reportApplianceErrors() {
   constexpr std::size_t most = 20;
   auto const errors = StorageDevices::applianceErrors(Pelm::String{config_.appliance.etcDir});
   for (std::size_t i = 0; i < std::min(errors.size(), most); ++i)
      notice_(LOG_ERR, errors[i]);
   if (errors.size() > most)
      notice_(LOG_ERR, std::to_string(errors.size() - most) +
                           " more errors in the appliance's files: see 'storagedevices check-config'");
}

void Monitors::startHealth() {
   using namespace StorageDevices;
   Entities const & shared = entities_;
   smart_ = smartDataMonitorSmFactory(shared.pollInterval, shared.devices, shared.smart, tracker_);
   nvme_ = nvmeDataMonitorSmFactory(shared.pollInterval, shared.devices, shared.nvme, tracker_);
   emmc_ = emmcDataMonitorSmFactory(shared.pollInterval, shared.devices, shared.emmc);
   ioStat_ = iOStatSmFactory(shared.pollInterval, shared.devices, shared.ioStat);
   lifetime_ =
       deviceLifetimeMonitorSmFactory(shared.devices, shared.emmc, shared.nvme, shared.smart, shared.ioStat);
   temperature_ =
       tempSensorSmFactory(shared.fruConfig, shared.sensors, shared.sensorStatus, shared.nvme, shared.smart);
}

void Monitors::startKernelErrors() {
   auto const & config = config_.kernelMessages;
   // The library would replace the socket of another program.
   if (auto const error = socketPathError(config.socket)) {
      notice_(LOG_ERR, *error + " (storage errors that the kernel reports go unnoticed)");
      return;
   }
   kernelErrors_ = StorageDevices::storageDeviceErrWatcherSmFactory(entities_.kernelErrors, entities_.devices,
                                                                    Pelm::String{config.socket});
   if (!kernelErrors_ || !kernelErrors_->initialized()) {
      notice_(LOG_ERR, kernelSocketNotice(config.socket));
      kernelErrors_ = nullptr;
      return;
   }
   clockWatch_.emplace(entities_.kernelErrors);
   startForwarding();
}

// Starts, changes or ends the forwarding, as configured.
void Monitors::startForwarding() {
   if (!config_.kernelMessages.forwardKmsg || !kernelErrors_)
      kernelForwarder_.reset();
   else if (!kernelForwarder_)
      makeForwarder();
}

void Monitors::makeForwarder() {
   try {
      kernelForwarder_ =
          std::make_unique<KernelForwarder>(config_.kernelMessages, kernelLines_,
                                            [this](std::string const & text) { notice_(LOG_WARNING, text); });
      kernelForwarder_->beforeLineIs([this] { clockWatch_->check(); });
   } catch (std::system_error const & error) {
      notice_(LOG_ERR, Vorn::errorAndRemedy(error) + " (no kernel messages are forwarded)");
   }
}

void Monitors::startMountSources() {
   std::set<std::string> names{config_.appliance.expectedMounts.begin(),
                               config_.appliance.expectedMounts.end()};
   if (discovery_)
      for (auto const & entry : discovery_->etcBlockDev())
         names.insert(entry.mount().str());
   mountSources_ =
       std::make_unique<MountSources>(config_.appliance.mountSourceDir, names,
                                      [this](std::string const & text) { notice_(LOG_WARNING, text); });
}

void Monitors::startSettled() {
   startMountSources();
   settledStart_ = std::make_unique<StorageDevices::SettledStart>(discovery_, [this] {
      detection_ = StorageDevices::deviceDetectionSmFactory(entities_.fruConfig, entities_.devices);
      mountPoints_ = StorageDevices::mountPtMonitorManagerSmFactory(entities_.devices);
      if (simulatedRoot_)
         simulatedRoot_->mountPointsIs(mountPoints_);
   });
}

std::size_t Monitors::reload(Config const & before) {
   entitiesAre(entities_, before, config_);
   startForwarding();
   if (before.appliance.expectedMounts != config_.appliance.expectedMounts)
      startMountSources();
   return forgetGoneDisks(entities_);
}

IoStatErrors Monitors::ioStatErrors() const {
   if (!ioStat_)
      return {};
   return {ioStat_->openErrorCount(), ioStat_->getlineErrorCount(), ioStat_->regexErrorCount()};
}

RecordKeepers Monitors::recordKeepers() const {
   return {lifetime_.get(), temperature_.get(), mountPoints_.get(), discovery_.get()};
}

}  // namespace Agent
