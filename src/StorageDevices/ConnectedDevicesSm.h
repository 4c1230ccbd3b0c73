// Discovery: keeps ConnectedDevices equal to the whole-disk block devices that udev reports, as far as
// the appliance's files know them.
//
// Input: the appliance's files, udev's devices and events, the results of the collectors. Output: the
// disks, the map from udev's serials to theirs, and `internalDevicesReady`.
//
// A removable disk, or one of no known kind, is inserted at once. A fixed one is identified first by a
// collector of its own; a further event for it replaces the running collector. Once started the machine
// has one state, watching; if udev cannot be had it stays idle.
#pragma once

#include <unordered_set>
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

struct DeviceVerdict;

class STORAGEDEVICES_API ConnectedDevicesSm final : public Pelm::Node {
   // Waits for one collector's result.
   class NestedSm_InfoReactor final : public Vorn::NotifieeConst {
    public:
      NestedSm_InfoReactor(ConnectedDevicesSm & owner, Pelm::String udevSerial,
                           Pelm::Ptr<DiskInfoCollectorSm> const & collector);

    private:
      void handleFinalDisk() { owner_.handleInfoCollectorCompleted(udevSerial_); }

      ConnectedDevicesSm & owner_;
      Pelm::String udevSerial_;
   };

 public:
   ConnectedDevicesSm(Pelm::Ptr<FruConfig const> fruConfig, Pelm::Ptr<ConnectedDevices> devices,
                      Pelm::Ptr<Brul::ChildProcessTrackerSm> childProcessTrackerSm);
   ~ConnectedDevicesSm() override;

   // True once every fixed disk found so far has been identified; then for ever. For the host, which
   // waits for it before it looks for missing disks.
   Vorn::Attribute<bool, ConnectedDevicesSm> internalDevicesReady{*this, "internalDevicesReady"};

   // What the appliance's files say, in file order; read once, at the start.
   std::vector<EtcBlockdevEntry> const & etcBlockDev() const { return rules_.etcBlockDev; }
   std::vector<Pelm::String> const & etcMultidrive() const { return rules_.etcMultidrive; }
   Vorn::Optional<Pelm::String> const & multidriveSrc() const { return rules_.multidriveSrc; }

   // The running collectors, by udev serial, each with the reactor that waits for it.
   Vorn::Collection<Pelm::String, Pelm::Ptr<DiskInfoCollectorSm>, ConnectedDevicesSm> diskInfoCollectorSm{
       *this, "diskInfoCollectorSm"};
   Vorn::Collection<Pelm::String, Pelm::Ptr<NestedSm_InfoReactor>, ConnectedDevicesSm> infoReactor{
       *this, "infoReactor"};

   void handleInitialized();
   void handleSocket();
   void handleInfoCollectorCompleted(Pelm::String udevSerial);
   void handleInternalDevicesReady();
   void vornDoZombieReactors(bool zombie) override;

 private:
   void internalDevicesReadyIs(bool value) { internalDevicesReady.valueIs(value); }
   void diskInfoCollectorSmIs(Pelm::String const & udevSerial,
                              Pelm::Ptr<DiskInfoCollectorSm> const & collector);
   void diskInfoCollectorSmDel(Pelm::String const & udevSerial);
   void diskInfoCollectorSmDelAll();
   void infoReactorIs(Pelm::String const & udevSerial, Pelm::Ptr<DiskInfoCollectorSm> const & collector);
   void infoReactorDel(Pelm::String const & udevSerial) { infoReactor.memberDel(udevSerial); }
   void infoReactorDelAll() { infoReactor.memberDelAll(); }

   bool initalizeMonitor();
   bool initalizeDevices();
   // Whether every device could be looked at.
   bool enumerateAnew();
   using Serials = std::unordered_set<Pelm::String>;
   bool enumerate(Serials & serials);
   void addEnumerated(char const * sysPath, Serials & serials);
   void forgetAllBut(Serials const & serials);

   void handleDisk(udev_device * device);
   void handleAddEvent(udev_device * device);
   void handleRemoveEvent(udev_device * device);
   Pelm::Ptr<DiskInfoCollectorSm> collectorFor(udev_device * device, DeviceVerdict const & verdict) const;
   void traceTwin(Pelm::String const & udevSerial, Pelm::String const & node) const;
   void maybeInsertDisk(Pelm::String const & udevSerial, Pelm::Ptr<ConnectedDisk const> const & disk);
   void handleDeletion();

   Pelm::Ptr<FruConfig const> fruConfig_;
   Pelm::Ptr<ConnectedDevices> devices_;
   Pelm::Ptr<Brul::ChildProcessTrackerSm> childProcessTrackerSm_;
   ApplianceRules rules_;
   udev * udev_ = nullptr;
   udev_monitor * monitor_ = nullptr;
   bool enumerating_ = false;
   Pelm::Ptr<Vorn::FileDescriptor> socketFd_;
   Vorn::NotifieeConst socketReactor_;
};

}  // namespace StorageDevices
