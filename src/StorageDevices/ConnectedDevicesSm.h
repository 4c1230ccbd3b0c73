// Discovery: keeps ConnectedDevices equal to the whole-disk block devices that udev reports, as far as
// the appliance's files know them.
//
// Input: the appliance's files, udev's devices and events, the results of the collectors. Output: the
// disks, the map from udev's serials to theirs, and `internalDevicesReady`.
//
// A removable disk, or one of no known kind, is inserted at once. A fixed one is identified first by a
// collector of its own; a further event for it replaces the running collector. Once started the machine
// has one state, watching; if udev cannot be had it stays idle.
//
// A device that cannot be classified for want of descriptors, processes or memory is published as such and
// classified by the next `rescan`.
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
   Pelm::String device;   // its node where that is known, else its name
   Pelm::String attempt;  // what failed, for example "expr cannot be started"
   int error = 0;         // errno: EMFILE, ENFILE, EAGAIN or ENOMEM

   bool operator==(Unclassified const &) const = default;
};

class STORAGEDEVICES_API ConnectedDevicesSm final : public Pelm::Node {
   // Waits for one collector's result.
   class NestedSm_InfoReactor final : public Vorn::NotifieeConst {
    public:
      NestedSm_InfoReactor(ConnectedDevicesSm & owner, Pelm::Ptr<DiskInfoCollectorSm> const & collector);

    private:
      void handleFinalDisk() { owner_.handleInfoCollectorCompleted(udevSerial_); }

      ConnectedDevicesSm & owner_;
      Pelm::String udevSerial_;
   };

 public:
   ConnectedDevicesSm(Pelm::Ptr<FruConfig const> fruConfig, Pelm::Ptr<ConnectedDevices> devices,
                      Pelm::Ptr<Brul::ChildProcessTrackerSm> childProcessTrackerSm);
   ~ConnectedDevicesSm() override;

   static constexpr std::uint64_t bytesPerBlock = 512;  // the kernel's sector
   static constexpr std::uint64_t bytesPerGb = 1'000'000'000;

   // True once every fixed disk found so far has been identified; then for ever. For the host, which
   // waits for it before it looks for missing disks.
   Vorn::Attribute<bool, ConnectedDevicesSm> internalDevicesReady{*this, "internalDevicesReady"};

   // Removal events that named no serial. They are ignored, so the disk stays until the next `rescan`.
   Vorn::Attribute<std::uint64_t, ConnectedDevicesSm> anonymousRemovalCount{*this, "anonymousRemovalCount"};

   // What could not be classified for want of means: devices by their folder in sysfs, "udev" itself, and
   // "blockdev" for the appliance's files.
   Vorn::Collection<Pelm::String, Unclassified, ConnectedDevicesSm> unclassifiedDevice{*this,
                                                                                       "unclassifiedDevice"};

   // What the factory was given.
   Pelm::Ptr<FruConfig const> const & fruConfig() const { return fruConfig_; }
   Pelm::Ptr<ConnectedDevices> const & devices() const { return devices_; }
   Pelm::Ptr<Brul::ChildProcessTrackerSm> const & childProcessTrackerSm() const {
      return childProcessTrackerSm_;
   }
   // udev's event socket; null before the start.
   Pelm::Ptr<Vorn::FileDescriptor> const & socketFd() const { return socketFd_; }

   // What the appliance's files say, in file order; read once, at the start.
   std::vector<EtcBlockdevEntry> const & etcBlockDev() const { return rules_.etcBlockDev; }
   std::vector<Pelm::String> const & etcMultidrive() const { return rules_.etcMultidrive; }
   Vorn::Optional<Pelm::String> const & multidriveSrc() const { return rules_.multidriveSrc; }

   // The running collectors, by udev serial, each with the reactor that waits for it.
   Vorn::Collection<Pelm::String, Pelm::Ptr<DiskInfoCollectorSm>, ConnectedDevicesSm> diskInfoCollectorSm{
       *this, "diskInfoCollectorSm"};
   Vorn::Collection<Pelm::String, Pelm::Ptr<NestedSm_InfoReactor>, ConnectedDevicesSm> infoReactor{
       *this, "infoReactor"};
   using HN_InfoReactor = decltype(infoReactor)::Member;

   // A collector comes with its reactor; of one that is done already the result is inserted at once.
   void diskInfoCollectorSmIs(Pelm::String const & udevSerial,
                              Pelm::Ptr<DiskInfoCollectorSm> const & collector);
   // The reactor goes first.
   void diskInfoCollectorSmDel(Pelm::String const & udevSerial);
   void diskInfoCollectorSmDelAll();
   // By the name of the collector's device, which is the udev serial.
   void infoReactorIs(Pelm::Ptr<DiskInfoCollectorSm> const & collector);
   void infoReactorDel(Pelm::String const & udevSerial) { infoReactor.memberDel(udevSerial); }
   void infoReactorDelAll() { infoReactor.memberDelAll(); }

   void handleInitialized();
   void handleSocket();
   void handleInfoCollectorCompleted(Pelm::String udevSerial);
   void handleInternalDevicesReady();
   // Releases udev; no event is followed any more.
   void handleDeletion();
   void vornDoZombieReactors(bool zombie) override;

   // Compares the set with all devices that are there: classifies the new and the changed ones and those that
   // could not be classified before, and deletes what is gone. A device that is unchanged costs a few reads
   // of sysfs, no process and no write; a running collector goes on. A start that failed is tried again.
   // Called from within a scan it is done after it.
   void rescan();

   // For a device of udev's that carries an action, has been added or changed, or has been removed.
   void handleDisk(udev_device * device);
   void handleAddEvent(udev_device * device);
   void handleRemoveEvent(udev_device * device);
   // Whether multidrive lists the path, which begins below /sys/devices, and multidrive_src does not. Runs
   // `expr`.
   bool isInactiveDrive(Pelm::String const & sysPath) const;
   // Writes the disk unless the one recorded for the serial differs in nothing but model and firmware
   // revision.
   void maybeInsertDisk(Pelm::String const & udevSerial, Pelm::Ptr<ConnectedDisk const> const & disk);

 private:
   void internalDevicesReadyIs(bool value) { internalDevicesReady.valueIs(value); }

   void anonymousRemovalCountIs(std::uint64_t value) { anonymousRemovalCount.valueIs(value); }
   void unclassifiedDeviceDel(Pelm::String const & key) { unclassifiedDevice.memberDel(key); }

   // Publishes a shortage, or withdraws it when the error is none.
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
