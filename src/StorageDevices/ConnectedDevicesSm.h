// Discovery: keeps ConnectedDevices equal to the whole disks that udev reports and the appliance's files
// list.
//
// Input: the appliance's files, udev's devices and events, the results of the collectors. Output: the
// disks, the map from udev's serials to theirs, and `internalDevicesReady`.
//
// A removable disk, or one of no known kind, is inserted at once. A collector identifies a fixed disk first;
// a further event for the disk replaces the running collector. A started machine has one state, watching.
// Without udev it stays idle.
//
// A device that cannot be classified for a shortage of descriptors, processes or memory becomes a member of
// `unclassifiedDevice`, until a `rescan` classifies it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "StorageDevices/ApplianceRules.h"
#include "StorageDevices/ConnectedDevices.h"
#include "StorageDevices/DiskInfoCollectorSm.h"
#include "StorageDevices/Export.h"
#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/Collection.h"
#include "runtime/Vorn/EachMember.h"
#include "runtime/Vorn/FileDescriptor.h"
#include "runtime/Vorn/Notifiee.h"
#include "runtime/model/FruConfig.h"

struct udev;
struct udev_device;
struct udev_monitor;

namespace StorageDevices {

class RecordedDisks;
class SeenDevices;
struct Scan;

// Why a device could not be classified.
struct Unclassified {
   Pelm::String device;   // its node if known, else its name
   Pelm::String attempt;  // what failed, for example "expr cannot be started"
   int error = 0;         // errno: EMFILE, ENFILE, EAGAIN or ENOMEM

   bool operator==(Unclassified const &) const = default;
};

class STORAGEDEVICES_API ConnectedDevicesSm final : public Pelm::Node {
 public:
   ConnectedDevicesSm(Pelm::Ptr<FruConfig const> fruConfig, Pelm::Ptr<ConnectedDevices> devices,
                      Pelm::Ptr<Brul::ChildProcessTrackerSm> childProcessTrackerSm);
   ~ConnectedDevicesSm() override;

   static constexpr std::uint64_t bytesPerBlock = 512;  // the kernel's sector
   static constexpr std::uint64_t bytesPerGb = 1'000'000'000;

   // Becomes true when every fixed disk found so far is identified, and stays true. The host waits for it
   // before it checks for missing disks.
   Vorn::Attribute<bool, ConnectedDevicesSm> internalDevicesReady{*this, "internalDevicesReady"};

   // Removal events without a serial. They are ignored, so the disk stays until the next `rescan`.
   Vorn::Attribute<std::uint64_t, ConnectedDevicesSm> anonymousRemovalCount{*this, "anonymousRemovalCount"};

   // What a shortage kept from being classified: a device by its folder in sysfs, "udev" for udev itself,
   // "blockdev" for the appliance's files.
   Vorn::Collection<Pelm::String, Unclassified, ConnectedDevicesSm> unclassifiedDevice{*this,
                                                                                       "unclassifiedDevice"};

   // The factory's argument.
   Pelm::Ptr<FruConfig const> const & fruConfig() const { return fruConfig_; }
   Pelm::Ptr<ConnectedDevices> const & devices() const { return devices_; }
   Pelm::Ptr<Brul::ChildProcessTrackerSm> const & childProcessTrackerSm() const {
      return childProcessTrackerSm_;
   }
   // udev's event socket; null before the start.
   Pelm::Ptr<Vorn::FileDescriptor> const & socketFd() const { return socketFd_; }

   // The entries of blockdev in file order; read once, at the start.
   std::vector<EtcBlockdevEntry> const & etcBlockDev() const { return rules_.etcBlockDev; }
   std::vector<Pelm::String> const & etcMultidrive() const { return rules_.etcMultidrive; }
   Vorn::Optional<Pelm::String> const & multidriveSrc() const { return rules_.multidriveSrc; }

   // A collector has published its result.
   void handleInfoCollectorCompleted(Pelm::String const & udevSerial);
   using NestedSm_InfoReactor = Vorn::MemberReactor<&ConnectedDevicesSm::handleInfoCollectorCompleted>;

   // The running collectors, by udev serial, each with the reactor that waits for it.
   Vorn::Collection<Pelm::String, Pelm::Ptr<DiskInfoCollectorSm>, ConnectedDevicesSm> diskInfoCollectorSm{
       *this, "diskInfoCollectorSm"};
   Vorn::Collection<Pelm::String, Pelm::Ptr<NestedSm_InfoReactor>, ConnectedDevicesSm> infoReactor{
       *this, "infoReactor"};
   using HN_InfoReactor = decltype(infoReactor)::Member;

   // Adds a collector with its reactor. The result of a finished collector is inserted at once.
   void diskInfoCollectorSmIs(Pelm::String const & udevSerial,
                              Pelm::Ptr<DiskInfoCollectorSm> const & collector);
   // Deletes the reactor first.
   void diskInfoCollectorSmDel(Pelm::String const & udevSerial);
   void diskInfoCollectorSmDelAll();
   // By the name of the collector's device, which is the udev serial.
   void infoReactorIs(Pelm::Ptr<DiskInfoCollectorSm> const & collector);
   void infoReactorDel(Pelm::String const & udevSerial) { infoReactor.memberDel(udevSerial); }
   void infoReactorDelAll() { infoReactor.memberDelAll(); }

   void handleInitialized();
   void handleSocket();
   void handleInternalDevicesReady();
   // Releases udev: no event is handled any more, and no device waits for a rescan.
   void handleDeletion();

   // Compares the set with all present devices. Classifies new, changed and unclassified devices, and deletes
   // those that are gone. An unchanged device costs a few reads of sysfs, no process and no write; a running
   // collector continues. A failed start is tried again. A call from within a scan takes effect after that
   // scan.
   void rescan();

   // Handle a udev device: any event by its action, an addition or change, a removal. A subscriber may drop
   // the machine meanwhile, whoever calls.
   void handleDisk(udev_device * device);
   void handleAddEvent(udev_device * device);
   void handleRemoveEvent(udev_device * device);
   // Whether multidrive lists the path, which begins below /sys/devices, and multidrive_src does not. Runs
   // `expr`.
   bool isInactiveDrive(Pelm::String const & sysPath) const;
   // Records the disk, unless the recorded one differs at most in model and firmware revision.
   void maybeInsertDisk(Pelm::String const & udevSerial, Pelm::Ptr<ConnectedDisk const> const & disk);

 private:
   void internalDevicesReadyIs(bool value) { internalDevicesReady.valueIs(value); }

   void anonymousRemovalCountIs(std::uint64_t value) { anonymousRemovalCount.valueIs(value); }
   void unclassifiedDeviceIs(Pelm::String const & key, Unclassified const & value) {
      unclassifiedDevice.memberIs(key, value);
   }
   void unclassifiedDeviceDel(Pelm::String const & key) { unclassifiedDevice.memberDel(key); }
   void unclassifiedDeviceDelAll() { unclassifiedDevice.memberDelAll(); }

   // Publishes a shortage; withdraws it when `value.error` is none.
   void noteShortage(Pelm::String const & key, Unclassified const & value);

   void readRules();
   void startWatching();
   bool enumerateAgain();
   bool initalizeMonitor();
   bool initalizeDevices();
   bool scanDevices();
   void examineEnumerated(std::string const & sysPath, Scan & scan);
   bool isUnchanged(udev_device * device) const;
   void forgetGone(Scan const & scan);

   void admit(udev_device * device, Pelm::String const & mount);
   void traceDuplicate(Pelm::String const & udevSerial, Pelm::String const & node) const;

   Pelm::Ptr<FruConfig const> fruConfig_;
   Pelm::Ptr<ConnectedDevices> devices_;
   Pelm::Ptr<Brul::ChildProcessTrackerSm> childProcessTrackerSm_;
   ApplianceRules rules_;
   std::unique_ptr<RecordedDisks> disks_;
   std::unique_ptr<SeenDevices> seen_;
   udev * udev_ = nullptr;
   udev_monitor * monitor_ = nullptr;
   bool watching_ = false;  // the start succeeded
   bool enumerating_ = false;
   bool rescanWanted_ = false;
   Pelm::Ptr<Vorn::FileDescriptor> socketFd_;
   Vorn::NotifieeConst socketReactor_;
};

}  // namespace StorageDevices
