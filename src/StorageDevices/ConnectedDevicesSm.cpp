#include "StorageDevices/ConnectedDevicesSm.h"

#include <cerrno>
#include <string>
#include <utility>

#include "StorageDevices/CDevsUtil.h"
#include "StorageDevices/DeviceClassification.h"
#include "StorageDevices/DiskInfoCollectors.h"
#include "StorageDevices/Factories.h"
#include "StorageDevices/Module.h"
#include "StorageDevices/RecordedDisks.h"
#include "StorageDevices/SeenDevices.h"
#include "StorageDevices/Shortage.h"
#include "StorageDevices/Udev.h"
#include "runtime/Vorn/Errno.h"
#include "runtime/Vorn/Machine.h"
#include "runtime/Vorn/Trace.h"

namespace StorageDevices {

namespace {

[[maybe_unused]] bool const registered = Vorn::vornModuleIs(module());
Vorn::TraceHandle traceHandle{"StorageConnectedDevicesSm", true};

// Keys of `unclassifiedDevice` for udev itself and for the appliance's files.
constexpr char udevKey[] = "udev";
constexpr char rulesKey[] = "blockdev";

bool isDevice(Pelm::String const & key) {
   return key.view().starts_with('/');
}

// Marks a scan as under way until it ends, also when it ends with a failure.
class EnumerationScope {
 public:
   explicit EnumerationScope(bool & enumerating) : enumerating_{enumerating} { enumerating_ = true; }
   EnumerationScope(EnumerationScope const &) = delete;
   EnumerationScope & operator=(EnumerationScope const &) = delete;
   ~EnumerationScope() { enumerating_ = false; }

 private:
   bool & enumerating_;
};

}  // namespace

ConnectedDevicesSm::ConnectedDevicesSm(Pelm::Ptr<FruConfig const> fruConfig,
                                       Pelm::Ptr<ConnectedDevices> devices,
                                       Pelm::Ptr<Brul::ChildProcessTrackerSm> childProcessTrackerSm)
    : fruConfig_{std::move(fruConfig)},
      devices_{std::move(devices)},
      childProcessTrackerSm_{std::move(childProcessTrackerSm)},
      disks_{std::make_unique<RecordedDisks>(devices_)},
      seen_{std::make_unique<SeenDevices>()} {}

ConnectedDevicesSm::~ConnectedDevicesSm() {
   handleDeletion();
}

void ConnectedDevicesSm::handleDeletion() {
   watching_ = false;
   if (socketFd_)
      socketFd_->descriptorIs(-1);
   socketFd_ = nullptr;
   if (monitor_)
      udev_monitor_unref(std::exchange(monitor_, nullptr));
   if (udev_)
      udev_unref(std::exchange(udev_, nullptr));
   // No rescan can classify them any more. Last, since a subscriber may drop this machine.
   unclassifiedDeviceDelAll();
}

void ConnectedDevicesSm::handleInitialized() {
   socketFd_ = Pelm::make<Vorn::FileDescriptor>("ConnectedDevicesSm");
   socketReactor_.notifierIs(socketFd_);
   socketReactor_.on<&ConnectedDevicesSm::handleSocket>(socketFd_->readableCount, *this);
   socketReactor_.hasNotificationActiveIs(true);
   readRules();
   startWatching();
}

void ConnectedDevicesSm::readRules() {
   rules_ = readApplianceRules(fruConfig_->etcDir(), traceHandle);
   seen_->delAll();
   noteShortage(rulesKey, {fruConfig_->etcDir(), "the appliance's files cannot be read", rules_.shortage});
}

void ConnectedDevicesSm::startWatching() {
   if (!udev_) {
      udev_ = udev_new();
      noteShortage(udevKey, {udevKey, "udev cannot be used", udev_ ? 0 : errno});
   }
   if (!udev_) {
      VORN_TRACE(traceHandle, 0) << " Unable to create libudev context.";
      return;
   }
   if (!monitor_ && !initalizeMonitor()) {
      VORN_TRACE(traceHandle, 0) << " Unable to initalize udev monitor.";
      return;
   }
   watching_ = enumerateAgain();
   socketFd_->notifyOnReadableIs(watching_);
}

bool ConnectedDevicesSm::enumerateAgain() {
   bool const done = initalizeDevices();
   if (done)
      handleInternalDevicesReady();
   else
      VORN_TRACE(traceHandle, 0) << "  Unable to obtain initial device set.";
   return done;
}

void ConnectedDevicesSm::rescan() {
   rescanWanted_ = enumerating_;
   if (enumerating_ || !socketFd_)
      return;
   // The host calls this, and its subscriber that is notified of a disk may drop this machine.
   Pelm::KeepAlive const keepAlive{*this};
   if (rules_.shortage != 0)
      readRules();
   if (watching_)
      enumerateAgain();
   else
      startWatching();
}

void ConnectedDevicesSm::noteShortage(Pelm::String const & key, Unclassified const & value) {
   if (!isShortage(value.error)) {
      unclassifiedDeviceDel(key);
      return;
   }
   // The start traces the others itself.
   if (isDevice(key) && !unclassifiedDevice.contains(key))
      VORN_TRACE(traceHandle, 0) << " could not classify " << value.device << ": " << value.attempt << ": "
                                 << Vorn::Errno(value.error, "shortage");
   unclassifiedDeviceIs(key, value);
}

bool ConnectedDevicesSm::initalizeMonitor() {
   UdevMonitorPtr monitor = openDiskMonitor(udev_);
   noteShortage(udevKey, {udevKey, "its events cannot be received", monitor ? 0 : errno});
   if (!monitor)
      return false;
   monitor_ = monitor.release();
   socketFd_->descriptorIs(udev_monitor_get_fd(monitor_));
   socketFd_->nonBlockingIs(true);
   socketFd_->notifyOnReadableIs(true);
   return true;
}

bool ConnectedDevicesSm::initalizeDevices() {
   bool const done = scanDevices();
   // A subscriber that is notified of a disk may ask for a rescan; one more pass serves all such requests.
   return std::exchange(rescanWanted_, false) && done ? scanDevices() : done;
}

bool ConnectedDevicesSm::scanDevices() {
   VORN_TRACE(traceHandle, 2) << " enumerating devices";
   // Collectors that finish at once must not announce the set complete before it is enumerated.
   EnumerationScope const scope{enumerating_};
   DiskList const disks = listDisks(udev_);
   noteShortage(udevKey, {udevKey, "its devices cannot be listed", disks.error});
   if (disks.error != 0)
      return false;
   seen_->goneDel();
   Scan scan;
   for (std::string const & sysPath : disks.sysPaths)
      examineEnumerated(sysPath, scan);
   forgetGone(scan);
   return true;
}

void ConnectedDevicesSm::examineEnumerated(std::string const & sysPath, Scan & scan) {
   int error = descriptorShortage();
   errno = 0;
   UdevDevicePtr const device{error == 0 ? udev_device_new_from_syspath(udev_, sysPath.c_str()) : nullptr};
   if (!device) {
      error = error == 0 ? errno : error;
      if (!isShortage(error))
         return;
      scan.complete = false;
      if (!seen_->seen(sysPath))
         noteShortage(sysPath, {nameIn(sysPath), "it cannot be read", error});
      return;
   }
   Pelm::String const udevSerial = CDevsUtil::udevSerial(device.get());
   scan.serials[sysPath] = udevSerial;
   bool const waits = unclassifiedDevice.contains(sysPath) && !diskInfoCollectorSm.contains(udevSerial);
   if (waits || !isUnchanged(device.get()))
      handleAddEvent(device.get());
}

bool ConnectedDevicesSm::isUnchanged(udev_device * device) const {
   auto const * const seen = seen_->seen(udev_device_get_syspath(device));
   if (!seen)
      return false;
   if (!seen->classification)
      return true;
   return isAddressable(device) && seen->udevSerial == CDevsUtil::udevSerial(device) &&
          (diskInfoCollectorSm.contains(seen->udevSerial) || disks_->disk(seen->udevSerial)) &&
          classify(device, seen->mount, *fruConfig_) == *seen->classification;
}

void ConnectedDevicesSm::forgetGone(Scan const & scan) {
   auto const isGone = [&](Pelm::String const & udevSerial) { return seen_->isGone(udevSerial, scan); };
   for (auto const & [udevSerial, collector] : diskInfoCollectorSm)
      if (isGone(udevSerial))
         diskInfoCollectorSmDel(udevSerial);
   disks_->removeGone(isGone);
   for (auto const & [sysPath, why] : unclassifiedDevice)
      if (isDevice(sysPath) && !isInSysfs(sysPath))
         unclassifiedDeviceDel(sysPath);
}

void ConnectedDevicesSm::handleSocket() {
   errno = 0;
   UdevDevicePtr const device{udev_monitor_receive_device(monitor_)};
   if (!device) {
      int const error = errno;
      VORN_TRACE(traceHandle, 0) << " Could not receive device from udev.";
      // The kernel had no room for an event and dropped it.
      if (error == ENOBUFS)
         rescan();
      return;
   }
   VORN_TRACE(traceHandle, 2) << " uevent received.";
   if (isFollowed(device.get()))
      handleDisk(device.get());
}

void ConnectedDevicesSm::handleDisk(udev_device * device) {
   Pelm::String const action = udev_device_get_action(device);
   VORN_TRACE(traceHandle, 2) << " received uevent with action" << action;
   if (action == "add" || action == "change") {
      VORN_TRACE(traceHandle, 2) << " handling add event";
      handleAddEvent(device);
   } else if (action == "remove") {
      VORN_TRACE(traceHandle, 2) << " handling remove event";
      handleRemoveEvent(device);
   }
}

void ConnectedDevicesSm::handleAddEvent(udev_device * device) {
   Pelm::KeepAlive const keepAlive{*this};
   Pelm::String const sysPath = udev_device_get_syspath(device);
   if (!isAddressable(device)) {
      unclassifiedDeviceDel(sysPath);
      return;
   }
   Pelm::String const node = udev_device_get_devnode(device);
   VORN_TRACE(traceHandle, 2) << " processing addition for " << node;
   if (int const error = descriptorShortage()) {
      noteShortage(sysPath, {node, "it cannot be read", error});
      return;
   }
   PathClassification const path = classifyPath(patternPath(device), rules_);
   if (path.shortage != 0) {
      noteShortage(sysPath, {node, "expr cannot be started", path.shortage});
      return;
   }
   if (path.kind == PathClassification::Kind::known) {
      admit(device, path.mount);
      return;
   }
   if (path.kind == PathClassification::Kind::inactive)
      VORN_TRACE(traceHandle, 2) << " is an inactive multidrive; skipping";
   else
      VORN_TRACE(traceHandle, 2) << " strange device " << node
                                 << " doesn't have an /etc/blockdev entry; skipping";
   seen_->seenIs(sysPath, {CDevsUtil::udevSerial(device), {}, {}});
   unclassifiedDeviceDel(sysPath);
}

void ConnectedDevicesSm::admit(udev_device * device, Pelm::String const & mount) {
   Pelm::String const udevSerial = CDevsUtil::udevSerial(device);
   Pelm::String const sysPath = udev_device_get_syspath(device);
   DeviceClassification const classification = classify(device, mount, *fruConfig_);
   traceDuplicate(udevSerial, classification.disk->blockDevice());
   // The collector that an earlier event started is out of date.
   diskInfoCollectorSmDel(udevSerial);
   seen_->seenIs(sysPath, {udevSerial, mount, classification});
   if (auto const collector = diskInfoCollectorFor(device, classification, childProcessTrackerSm_)) {
      diskInfoCollectorSmIs(udevSerial, collector);
      return;
   }
   maybeInsertDisk(udevSerial, classification.disk);
   unclassifiedDeviceDel(sysPath);
   handleInternalDevicesReady();
}

bool ConnectedDevicesSm::isInactiveDrive(Pelm::String const & sysPath) const {
   return isInactive(sysPath, rules_);
}

// Two devices with one serial cannot be distinguished: the record is that of the latest.
void ConnectedDevicesSm::traceDuplicate(Pelm::String const & udevSerial, Pelm::String const & node) const {
   auto const collector = diskInfoCollectorSm(udevSerial);
   auto const known = collector ? collector->device() : disks_->disk(udevSerial);
   // If the other node's folder is gone, the one device has come back under a new node.
   if (known && !(known->blockDevice() == node) && seen_->isPresent(udevSerial, known->blockDevice()))
      VORN_TRACE(traceHandle, 0) << " serial " << udevSerial << " of " << node << " is also that of "
                                 << known->blockDevice();
}

void ConnectedDevicesSm::handleRemoveEvent(udev_device * device) {
   Pelm::KeepAlive const keepAlive{*this};
   Pelm::String const udevSerial = CDevsUtil::udevSerial(device);
   if (udevSerial.empty()) {
      anonymousRemovalCountIs(anonymousRemovalCount() + 1);
      return;
   }
   seen_->serialDel(udevSerial);
   unclassifiedDeviceDel(udev_device_get_syspath(device));
   diskInfoCollectorSmDel(udevSerial);
   handleInternalDevicesReady();
   disks_->remove(udevSerial);
}

void ConnectedDevicesSm::handleInfoCollectorCompleted(Pelm::String const & udevSerial) {
   Pelm::KeepAlive const keepAlive{*this};
   auto const collector = diskInfoCollectorSm(udevSerial);
   if (!collector || !collector->finalDisk())
      return;
   diskInfoCollectorSmDel(udevSerial);
   Pelm::String const sysPath = seen_->pathOf(udevSerial);
   int const error = collector->startError();
   if (!isShortage(error))
      maybeInsertDisk(udevSerial, collector->finalDisk());
   // A device without a path was deleted by a rescan meanwhile; the next rescan classifies it as new.
   if (!sysPath.empty())
      noteShortage(sysPath, {collector->device()->blockDevice(), "its tool cannot be started", error});
   handleInternalDevicesReady();
}

void ConnectedDevicesSm::handleInternalDevicesReady() {
   if (diskInfoCollectorSm.empty() && !enumerating_ && !internalDevicesReady())
      internalDevicesReadyIs(true);
}

void ConnectedDevicesSm::maybeInsertDisk(Pelm::String const & udevSerial,
                                         Pelm::Ptr<ConnectedDisk const> const & disk) {
   Pelm::KeepAlive const keepAlive{*this};
   disks_->insert(udevSerial, disk);
}

void ConnectedDevicesSm::diskInfoCollectorSmIs(Pelm::String const & udevSerial,
                                               Pelm::Ptr<DiskInfoCollectorSm> const & collector) {
   Pelm::KeepAlive const keepAlive{*this};
   VORN_TRACE(traceHandle, 2) << " collecting information about " << collector->device()->blockDevice();
   diskInfoCollectorSm.memberIs(udevSerial, collector);
   infoReactorIs(collector);
   // A collector that reads udev alone has finished before the reactor could subscribe.
   if (collector->finalDisk())
      handleInfoCollectorCompleted(udevSerial);
}

void ConnectedDevicesSm::diskInfoCollectorSmDel(Pelm::String const & udevSerial) {
   Pelm::KeepAlive const keepAlive{*this};
   infoReactorDel(udevSerial);
   diskInfoCollectorSm.memberDel(udevSerial);
}

void ConnectedDevicesSm::diskInfoCollectorSmDelAll() {
   Pelm::KeepAlive const keepAlive{*this};
   infoReactorDelAll();
   diskInfoCollectorSm.memberDelAll();
}

void ConnectedDevicesSm::infoReactorIs(Pelm::Ptr<DiskInfoCollectorSm> const & collector) {
   Pelm::String const & udevSerial = collector->device()->name();
   infoReactor.memberIs(udevSerial,
                        Pelm::make<NestedSm_InfoReactor>(*this, udevSerial, collector->finalDisk));
}

Pelm::Ptr<ConnectedDevicesSm> connectedDevicesSmFactory(
    Pelm::Ptr<FruConfig const> const & fruConfig, Pelm::Ptr<ConnectedDevices> const & connectedDevices,
    Pelm::Ptr<Brul::ChildProcessTrackerSm> const & childProcessTrackerSm) {
   return Vorn::makeMachine<ConnectedDevicesSm>(fruConfig, connectedDevices, childProcessTrackerSm);
}

}  // namespace StorageDevices
