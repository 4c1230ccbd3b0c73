#include "StorageDevices/MountPtMonitorSm.h"

#include <utility>

#include "StorageDevices/Factories.h"
#include "StorageDevices/LogMessages.h"
#include "StorageDevices/LoggedDisk.h"
#include "runtime/Vorn/Machine.h"
#include "runtime/Vorn/Trace.h"

namespace StorageDevices {

namespace {

Vorn::TraceHandle traceHandle{"StorageMountPtMonitorSm", true};
LogMessages mountPtLogs;

// Support greps for this text; it does not follow the compiler's spelling of signatures.
constexpr char handleTestClockName[] = "void StorageDevices::MountPtMonitorSm::handleTestClock()";

}  // namespace

MountPtMonitorSm::MountPtMonitorSm(Pelm::String mountPt, Pelm::Ptr<MountPtMonitorHelper> helper,
                                   Pelm::Ptr<ConnectedDevices const> devices)
    : mountPt_{std::move(mountPt)}, helper_{std::move(helper)}, devices_{std::move(devices)} {}

void MountPtMonitorSm::vornDoZombieReactors(bool zombie) {
   Pelm::Node::vornDoZombieReactors(zombie);
   if (fsHealthSm())
      fsHealthSm()->vornDoZombieReactors(zombie);
}

void MountPtMonitorSm::handleInitialized() {
   testClock_.emplace(*this, Vorn::System::currentTime());
   initialized.valueIs(true);
}

void MountPtMonitorSm::armTestClock(Vorn::Seconds delay) {
   testClock_->timeMinIs(Vorn::System::currentTime() + delay);
}

void MountPtMonitorSm::handleTestClock() {
   if (!initialized())
      return;
   MountPtMonitorHelper::MountState const mount = helper_->mountState(mountPt_);
   if (mount.mounted)
      handleMounted(mount);
   else
      handleNotMounted();
}

void MountPtMonitorSm::handleMounted(MountPtMonitorHelper::MountState const & mount) {
   initialMountFailuresRemaining.valueIs(0);
   if (mount.blkSize == 0) {
      handleError("failed to determine device blockSize");
      return;
   }
   if (mountPtDevice().empty())
      mountPtDevice.valueIs(mount.device);
   if (mountPtDeviceBlkSize() == 0)
      mountPtDeviceBlkSize.valueIs(mount.blkSize);
   if (mount.readOnly) {
      handleError("mount point is read-only");
      return;
   }
   if (mount.device != mountPtDevice() || mount.blkSize != mountPtDeviceBlkSize()) {
      handleError("device was disconnected and changed");
      return;
   }
   if (nodeFlag(Flag::zombie))
      return;  // a subscriber has dropped the monitor
   if (!fsHealthSm() || !fsHealthSm()->initialized())
      fsHealthSmIs(mountPt_, mountPtDeviceBlkSize(), devices_);
   if (fsHealthSm() && !fsHealthSm()->running())
      fsHealthSm()->start();
   armTestClock(periodicCheckTime());
}

void MountPtMonitorSm::fsHealthSmIs(Pelm::String const & mountPt, std::uint32_t blkSize,
                                    Pelm::Ptr<ConnectedDevices const> const & devices) {
   fsHealthSm.valueIs(fsHealthSmFactory(mountPt, blkSize, devices));
}

void MountPtMonitorSm::handleNotMounted() {
   if (initialMountFailuresRemaining() == 0) {
      handleError("not mounted");
      return;
   }
   initialMountFailuresRemaining.valueIs(initialMountFailuresRemaining() - 1);
   VORN_TRACE(traceHandle, 7) << handleTestClockName << mountPt_ << ", was not initialy mounted. "
                              << initialMountFailuresRemaining() << " tries remaining";
   armTestClock(periodicCheckTime());
}

void MountPtMonitorSm::handleError(char const * errorMsg) {
   LoggedDisk const disk{*devices_, mountPt_};
   mountPtLogs.monitorError("mountPtCheck", disk.name, disk.serial, disk.model, disk.firmware, errorMsg);
   if (fsHealthSm() && fsHealthSm()->running())
      fsHealthSm()->stop();
   armTestClock(holdOffTime());
}

Pelm::Ptr<MountPtMonitorSm> mountPtMonitorSmFactory(Pelm::String const & mountPt,
                                                    Pelm::Ptr<MountPtMonitorHelper> const & helper,
                                                    Pelm::Ptr<ConnectedDevices const> const & devices) {
   return Vorn::makeMachine<MountPtMonitorSm>(mountPt, helper, devices);
}

}  // namespace StorageDevices
