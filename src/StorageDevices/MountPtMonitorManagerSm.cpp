#include "StorageDevices/MountPtMonitorManagerSm.h"

#include "StorageDevices/Factories.h"
#include "runtime/Vorn/Machine.h"
#include "runtime/Vorn/Trace.h"

namespace StorageDevices {

namespace {

Vorn::TraceHandle traceHandle{"StorageDevicesMountPtMonitorManagerSm", true};

constexpr char mainFlash[] = "/mnt/flash";

}  // namespace

void MountPtMonitorManagerSm::vornDoZombieReactors(bool zombie) {
   for (auto const & [mountPt, monitor] : mountPtMonitorSm)
      monitor->vornDoZombieReactors(zombie);
}

void MountPtMonitorManagerSm::handleInitialized() {
   for (auto const & [name, disk] : devices_->disk) {
      if (disk->removable())
         continue;
      Pelm::String const & mountPoint = disk->mountPoint();
      if (mountPtMonitorSm.contains(mountPoint)) {
         VORN_TRACE(traceHandle, 1) << "Already have a monitoring SM for " << mountPoint << ", skipping";
         continue;
      }
      VORN_TRACE(traceHandle, 2) << "Instantiating state machine for " << mountPoint;
      helper_ = MountPtMonitorHelper::make();
      mountPtMonitorSmIs(mountPoint, helper_, devices_);
   }
   if (!mountPtMonitorSm.contains(mainFlash))
      VORN_TRACE(traceHandle, 0) << "No monitoring state machine instantiated for " << mainFlash;
}

void MountPtMonitorManagerSm::mountPtMonitorSmIs(Pelm::String const & mountPt,
                                                 Pelm::Ptr<MountPtMonitorHelper> const & helper,
                                                 Pelm::Ptr<ConnectedDevices const> const & devices) {
   // Null where memory is short.
   if (auto const monitor = mountPtMonitorSmFactory(mountPt, helper, devices))
      mountPtMonitorSm.memberIs(mountPt, monitor);
}

Pelm::Ptr<MountPtMonitorManagerSm> mountPtMonitorManagerSmFactory(
    Pelm::Ptr<ConnectedDevices> const & devices) {
   return Vorn::makeMachine<MountPtMonitorManagerSm>(devices);
}

}  // namespace StorageDevices
