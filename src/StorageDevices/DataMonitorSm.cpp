#include "StorageDevices/DataMonitorSm.h"

#include <utility>

#include "runtime/Vorn/Failure.h"
#include "runtime/Vorn/Trace.h"

namespace StorageDevices {

namespace {
Vorn::TraceHandle traceHandle{"StorageDataMonitorSm", true};
}

DataMonitorSm::DataMonitorSm(Pelm::Ptr<PollInterval const> pollInterval,
                             Pelm::Ptr<ConnectedDevices const> devices)
    : pollInterval_{std::move(pollInterval)}, devices_{std::move(devices)} {
   pollIntervalReactor_.notifierIs(pollInterval_);
   pollIntervalReactor_.on<&DataMonitorSm::handleClock>(pollInterval_->interval, *this);
   pollIntervalReactor_.hasNotificationActiveIs(true);
   devicesReactor_.notifierIs(devices_);
   devicesReactor_.on<&DataMonitorSm::handleDisk>(devices_->disk, *this);
   devicesReactor_.hasNotificationActiveIs(true);
}

void DataMonitorSm::handleInitialized() {
   clock_.emplace(*this);
   for (auto const & [serial, disk] : devices_->disk) {
      VORN_TRACE(traceHandle, 7) << "devices(), next key: " << serial;
      handleDisk(serial);
   }
   forEach([](DataMonitorSm & monitor, Pelm::String const & serial) {
      if (monitor.devices_->disk.contains(serial)) {
         VORN_TRACE(traceHandle, 7) << "data(), next key: " << serial
                                    << " was already processed through devices()";
         return;
      }
      // Left over from an earlier run of the agent.
      VORN_TRACE(traceHandle, 7) << "data(), next key: " << serial;
      monitor.handleDisk(serial);
   });
   initialized.valueIs(true);
}

void DataMonitorSm::handleDisk(Pelm::String const & serial) {
   Pelm::Ptr<ConnectedDisk const> const disk = devices_->disk(serial);
   if (!disk) {
      VORN_TRACE(traceHandle, 2) << "Deleting " << serial << " from its associated *Data collection";
      removeFromData(serial);
      return;
   }
   VORN_TRACE(traceHandle, 2) << serial << " is in the disk collection";
   if (isInData(serial))
      return;
   VORN_TRACE(traceHandle, 2) << "Adding " << serial << " to the relevant *Data collection";
   addToData(serial);
   if (initialized() && disk->removable())
      updateDevice(serial);
}

void DataMonitorSm::handleClock() {
   if (!initialized())
      return;
   VORN_TRACE(traceHandle, 7) << "polling the " << typeStr() << " data";
   update();
   pollCountInc(1);
   clock_->timeMinIs(Vorn::System::currentTime() + pollInterval_->interval());
}

void DataMonitorSm::update() {
   forEach([](DataMonitorSm & monitor, Pelm::String const & serial) {
      // A monitor that was dropped meanwhile reads no further disk.
      if (monitor.nodeFlag(Flag::zombie))
         return;
      // The failure of one disk stops neither the next disk nor the polling.
      Vorn::guarded<DataMonitorSm>([&] { monitor.updateDevice(serial); });
   });
}

}  // namespace StorageDevices
