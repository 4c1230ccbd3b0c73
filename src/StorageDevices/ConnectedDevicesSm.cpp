#include "StorageDevices/ConnectedDevicesSm.h"

#include <cerrno>
#include <string_view>
#include <utility>

#include "StorageDevices/CDevsUtil.h"
#include "StorageDevices/DeviceVerdict.h"
#include "StorageDevices/EmmcDiskInfoCollectorSm.h"
#include "StorageDevices/EusbDiskInfoCollectorSm.h"
#include "StorageDevices/Factories.h"
#include "StorageDevices/Module.h"
#include "StorageDevices/NvmeDiskInfoCollectorSm.h"
#include "StorageDevices/SsdDiskInfoCollectorSm.h"
#include "StorageDevices/Udev.h"
#include "runtime/Vorn/Machine.h"
#include "runtime/Vorn/Trace.h"

namespace StorageDevices {

namespace {

[[maybe_unused]] bool const registered = Vorn::vornModuleIs(module());
Vorn::TraceHandle traceHandle{"StorageConnectedDevicesSm", true};

// A message of udev takes some 5 KiB of the socket's budget: room for three thousand of them. The
// memory is taken only while they wait.
constexpr int socketBufferBytes = 16 << 20;

bool isLoop(char const * sysName) {
   return sysName && std::string_view{sysName}.starts_with("loop");
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

ConnectedDevicesSm::NestedSm_InfoReactor::NestedSm_InfoReactor(
    ConnectedDevicesSm & owner, Pelm::String udevSerial, Pelm::Ptr<DiskInfoCollectorSm> const & collector)
    : owner_{owner}, udevSerial_{std::move(udevSerial)} {
   notifierIs(collector);
   on<&NestedSm_InfoReactor::handleFinalDisk>(collector->finalDisk, *this);
   hasNotificationActiveIs(true);
}

ConnectedDevicesSm::ConnectedDevicesSm(Pelm::Ptr<FruConfig const> fruConfig,
                                       Pelm::Ptr<ConnectedDevices> devices,
                                       Pelm::Ptr<Brul::ChildProcessTrackerSm> childProcessTrackerSm)
    : fruConfig_{std::move(fruConfig)},
      devices_{std::move(devices)},
      childProcessTrackerSm_{std::move(childProcessTrackerSm)} {}

ConnectedDevicesSm::~ConnectedDevicesSm() {
   diskInfoCollectorSmDelAll();
   infoReactorDelAll();
   handleDeletion();
}

void ConnectedDevicesSm::vornDoZombieReactors(bool zombie) {
   socketReactor_.hasNotificationActiveIs(!zombie);
}

void ConnectedDevicesSm::handleDeletion() {
   if (socketFd_)
      socketFd_->descriptorIs(-1);
   if (monitor_)
      udev_monitor_unref(std::exchange(monitor_, nullptr));
   if (udev_)
      udev_unref(std::exchange(udev_, nullptr));
}

void ConnectedDevicesSm::handleInitialized() {
   socketFd_ = Pelm::make<Vorn::FileDescriptor>("ConnectedDevicesSm");
   socketReactor_.notifierIs(socketFd_);
   socketReactor_.on<&ConnectedDevicesSm::handleSocket>(socketFd_->readableCount, *this);
   socketReactor_.hasNotificationActiveIs(true);
   rules_ = readApplianceRules(fruConfig_->etcDir(), traceHandle);
   udev_ = udev_new();
   if (!udev_) {
      VORN_TRACE(traceHandle, 0) << " Unable to create libudev context.";
      return;
   }
   if (!initalizeMonitor()) {
      VORN_TRACE(traceHandle, 0) << " Unable to initalize udev monitor.";
      return;
   }
   if (enumerateAnew())
      handleInternalDevicesReady();
   else
      socketFd_->notifyOnReadableIs(false);
}

bool ConnectedDevicesSm::enumerateAnew() {
   bool const done = initalizeDevices();
   if (!done)
      VORN_TRACE(traceHandle, 0) << "  Unable to obtain initial device set.";
   return done;
}

bool ConnectedDevicesSm::initalizeMonitor() {
   UdevMonitorPtr monitor{udev_monitor_new_from_netlink(udev_, "udev")};
   if (!monitor || udev_monitor_filter_add_match_subsystem_devtype(monitor.get(), "block", "disk") < 0 ||
       udev_monitor_filter_update(monitor.get()) < 0)
      return false;
   // Helps against bursts; without the right to a large buffer the loss is noticed (see handleSocket).
   udev_monitor_set_receive_buffer_size(monitor.get(), socketBufferBytes);
   if (udev_monitor_enable_receiving(monitor.get()) < 0)
      return false;
   int const fd = udev_monitor_get_fd(monitor.get());
   if (fd < 0)
      return false;
   monitor_ = monitor.release();
   socketFd_->descriptorIs(fd);
   socketFd_->nonBlockingIs(true);
   socketFd_->notifyOnReadableIs(true);
   return true;
}

bool ConnectedDevicesSm::initalizeDevices() {
   VORN_TRACE(traceHandle, 2) << " enumerating devices";
   Serials serials;
   // Collectors that finish at once must not announce the set complete before it is enumerated.
   bool enumerated = false;
   {
      EnumerationScope const scope{enumerating_};
      enumerated = enumerate(serials);
   }
   if (enumerated)
      forgetAllBut(serials);
   return enumerated;
}

bool ConnectedDevicesSm::enumerate(Serials & serials) {
   UdevEnumeratePtr const scan{udev_enumerate_new(udev_)};
   if (!scan || udev_enumerate_add_match_subsystem(scan.get(), "block") < 0 ||
       udev_enumerate_add_match_property(scan.get(), "DEVTYPE", "disk") < 0 ||
       udev_enumerate_scan_devices(scan.get()) < 0)
      return false;
   for (udev_list_entry * entry = udev_enumerate_get_list_entry(scan.get()); entry;
        entry = udev_list_entry_get_next(entry))
      addEnumerated(udev_list_entry_get_name(entry), serials);
   return true;
}

void ConnectedDevicesSm::addEnumerated(char const * sysPath, Serials & serials) {
   UdevDevicePtr const device{udev_device_new_from_syspath(udev_, sysPath)};
   if (!device || isLoop(udev_device_get_sysname(device.get())))
      return;
   serials.insert(CDevsUtil::udevSerial(device.get()));
   handleAddEvent(device.get());
}

void ConnectedDevicesSm::forgetAllBut(Serials const & serials) {
   for (auto const & [udevSerial, collector] : diskInfoCollectorSm)
      if (!serials.contains(udevSerial))
         diskInfoCollectorSmDel(udevSerial);
   for (auto const & [udevSerial, name] : devices_->udevSerialToSerialMap) {
      if (serials.contains(udevSerial))
         continue;
      Pelm::String const gone = name;
      devices_->udevSerialToSerialMapDel(udevSerial);
      devices_->diskDel(gone);
   }
}

void ConnectedDevicesSm::handleSocket() {
   errno = 0;
   UdevDevicePtr const device{udev_monitor_receive_device(monitor_)};
   if (!device) {
      int const error = errno;
      VORN_TRACE(traceHandle, 0) << " Could not receive device from udev.";
      // The kernel had no room for an event: what it was is unknown, so everything is looked at again.
      if (error == ENOBUFS) {
         enumerateAnew();
         handleInternalDevicesReady();
      }
      return;
   }
   VORN_TRACE(traceHandle, 2) << " uevent received.";
   char const * const sysName = udev_device_get_sysname(device.get());
   if (udev_device_get_devtype(device.get()) && sysName && !isLoop(sysName))
      handleDisk(device.get());
}

void ConnectedDevicesSm::handleDisk(udev_device * device) {
   Pelm::String const action = udev_device_get_action(device);
   VORN_TRACE(traceHandle, 2) << " received uevent with action " << action;
   if (action == "add" || action == "change") {
      VORN_TRACE(traceHandle, 2) << " handling add event";
      handleAddEvent(device);
   } else if (action == "remove") {
      VORN_TRACE(traceHandle, 2) << " handling remove event";
      handleRemoveEvent(device);
   }
}

void ConnectedDevicesSm::handleAddEvent(udev_device * device) {
   Pelm::String const udevSerial = CDevsUtil::udevSerial(device);
   Pelm::String const node = udev_device_get_devnode(device);
   if (!isAddressable(device))
      return;
   VORN_TRACE(traceHandle, 2) << " processing addition for " << node;
   DeviceVerdict const verdict = judge(device, rules_, *fruConfig_);
   switch (verdict.kind) {
      case DeviceVerdict::Kind::inactive:
         VORN_TRACE(traceHandle, 2) << " is an inactive multidrive; skipping";
         return;
      case DeviceVerdict::Kind::strange:
         VORN_TRACE(traceHandle, 2) << " strange device " << node
                                    << " doesn't have an /etc/blockdev entry; skipping";
         return;
      case DeviceVerdict::Kind::removable:
      case DeviceVerdict::Kind::fixed:
         break;
   }
   traceTwin(udevSerial, node);
   // Whatever an earlier event started for this device is out of date now.
   diskInfoCollectorSmDel(udevSerial);
   if (auto const collector = collectorFor(device, verdict)) {
      diskInfoCollectorSmIs(udevSerial, collector);
   } else {
      maybeInsertDisk(udevSerial, verdict.disk);
      handleInternalDevicesReady();
   }
}

// Null: no collector knows the device better than udev does.
Pelm::Ptr<DiskInfoCollectorSm> ConnectedDevicesSm::collectorFor(udev_device * device,
                                                                DeviceVerdict const & verdict) const {
   switch (verdict.collector) {
      case DeviceVerdict::Collector::none:
         return nullptr;
      case DeviceVerdict::Collector::ssd:
         return SsdDiskInfoCollectorSmIs(verdict.disk, childProcessTrackerSm_);
      case DeviceVerdict::Collector::eusb:
         return EusbDiskInfoCollectorSmIs(verdict.disk, device);
      case DeviceVerdict::Collector::nvme:
         return NvmeDiskInfoCollectorSmIs(verdict.disk, childProcessTrackerSm_);
      case DeviceVerdict::Collector::emmc:
         return EmmcDiskInfoCollectorSmIs(verdict.disk, device);
   }
   return nullptr;
}

// Nothing tells two devices of one serial apart: the one seen last stands for both.
void ConnectedDevicesSm::traceTwin(Pelm::String const & udevSerial, Pelm::String const & node) const {
   Pelm::Ptr<ConnectedDisk const> known;
   if (auto const collector = diskInfoCollectorSm(udevSerial))
      known = collector->device();
   else if (auto const name = devices_->udevSerialToSerialMap(udevSerial))
      known = devices_->disk(*name);
   if (known && !(known->blockDevice() == node))
      VORN_TRACE(traceHandle, 0) << " serial " << udevSerial << " of " << node << " is also that of "
                                 << known->blockDevice();
}

void ConnectedDevicesSm::handleRemoveEvent(udev_device * device) {
   Pelm::String const udevSerial = CDevsUtil::udevSerial(device);
   if (udevSerial.empty())
      return;
   diskInfoCollectorSmDel(udevSerial);
   handleInternalDevicesReady();
   auto const name = devices_->udevSerialToSerialMap(udevSerial);
   if (!name)
      return;
   devices_->udevSerialToSerialMapDel(udevSerial);
   devices_->diskDel(*name);
}

// By value: the caller goes with the reactor that is deleted here.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void ConnectedDevicesSm::handleInfoCollectorCompleted(Pelm::String udevSerial) {
   auto const collector = diskInfoCollectorSm(udevSerial);
   if (!collector || !collector->finalDisk())
      return;
   diskInfoCollectorSmDel(udevSerial);
   maybeInsertDisk(udevSerial, collector->finalDisk());
   handleInternalDevicesReady();
}

void ConnectedDevicesSm::handleInternalDevicesReady() {
   if (diskInfoCollectorSm.empty() && !enumerating_ && !internalDevicesReady())
      internalDevicesReadyIs(true);
}

void ConnectedDevicesSm::maybeInsertDisk(Pelm::String const & udevSerial,
                                         Pelm::Ptr<ConnectedDisk const> const & disk) {
   if (auto const name = devices_->udevSerialToSerialMap(udevSerial))
      if (auto const stored = devices_->disk(*name); stored && stored->isEqButTexts(*disk))
         return;
   devices_->udevSerialToSerialMapIs(udevSerial, disk->name());
   devices_->diskIs(disk->name(), disk->mibType(), disk->blockDevice(), disk->mountPoint(), disk->model(),
                    disk->firmwareRevision(), disk->removable(), disk->busType(), disk->devAddress(),
                    disk->sizeGb());
}

void ConnectedDevicesSm::diskInfoCollectorSmIs(Pelm::String const & udevSerial,
                                               Pelm::Ptr<DiskInfoCollectorSm> const & collector) {
   VORN_TRACE(traceHandle, 2) << " collecting information about " << collector->device()->blockDevice();
   diskInfoCollectorSm.memberIs(udevSerial, collector);
   infoReactorIs(udevSerial, collector);
   // One that reads udev alone is done already, before anybody could subscribe.
   if (collector->finalDisk())
      handleInfoCollectorCompleted(udevSerial);
}

void ConnectedDevicesSm::diskInfoCollectorSmDel(Pelm::String const & udevSerial) {
   infoReactorDel(udevSerial);
   diskInfoCollectorSm.memberDel(udevSerial);
}

void ConnectedDevicesSm::diskInfoCollectorSmDelAll() {
   infoReactorDelAll();
   diskInfoCollectorSm.memberDelAll();
}

void ConnectedDevicesSm::infoReactorIs(Pelm::String const & udevSerial,
                                       Pelm::Ptr<DiskInfoCollectorSm> const & collector) {
   infoReactor.memberIs(udevSerial, Pelm::make<NestedSm_InfoReactor>(*this, udevSerial, collector));
}

Pelm::Ptr<ConnectedDevicesSm> connectedDevicesSmFactory(
    Pelm::Ptr<FruConfig const> const & fruConfig, Pelm::Ptr<ConnectedDevices> const & connectedDevices,
    Pelm::Ptr<Brul::ChildProcessTrackerSm> const & childProcessTrackerSm) {
   return Vorn::makeMachine<ConnectedDevicesSm>(fruConfig, connectedDevices, childProcessTrackerSm);
}

}  // namespace StorageDevices
