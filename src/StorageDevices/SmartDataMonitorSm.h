// Polls the SMART health status and attribute table of SATA, NVMe and USB drives into `SmartData`. Runs
// `smartctl` once per drive and poll.
//
// Per drive, a poll starts a run unless one is in flight. At the end of the run its output is written into
// the record, and the run is deleted. A run that failed or printed invalid output does not change the record.
#pragma once

#include "StorageDevices/DataMonitorSm.h"
#include "StorageDevices/DeviceToolProcess.h"
#include "StorageDevices/Export.h"
#include "runtime/Vorn/Collection.h"
#include "runtime/Vorn/EachMember.h"
#include "runtime/model/DriveDatabase.h"
#include "runtime/model/SmartData.h"

namespace StorageDevices {

class JsonDocument;

// One run of smartctl.
class STORAGEDEVICES_API SmartctlProcess final : public DeviceToolProcess {
 public:
   SmartctlProcess(Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker, Pelm::String device)
       : DeviceToolProcess{tracker, std::move(device)} {}

   // Also switches on the drive's automatic offline data collection. `scsi`: the drive is behind a USB
   // bridge; otherwise the tool detects the type.
   void run(Pelm::String const & devicePath, bool scsi);
};

class STORAGEDEVICES_API SmartDataMonitorSm final : public DataMonitorSm {
 public:
   SmartDataMonitorSm(Pelm::Ptr<PollInterval const> pollInterval, Pelm::Ptr<ConnectedDevices const> devices,
                      Pelm::Ptr<SmartData> data, Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker);

   // Ignores disks without a bus address: the eMMC monitor reads those.
   void handleDisk(Pelm::String const & name) override;
   bool isInData(Pelm::String const & name) const override;
   void addToData(Pelm::String const & name) override;
   // Ends the disk's run and deletes its mapping too.
   void removeFromData(Pelm::String const & name) override;
   void forEach(DeviceCallback callback) override;
   void updateDevice(Pelm::String const & name) override;

   Pelm::Ptr<SmartData> const & data() const { return data_; }
   Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker() const { return tracker_; }

   // The drive database's entry for each disk, read once, when the disk appears.
   Vorn::Collection<Pelm::String, DriveSmartMapping, SmartDataMonitorSm> smartDbMapping{*this,
                                                                                        "smartDbMapping"};
   void smartDbMappingIs(Pelm::String const & name, DriveSmartMapping mapping) {
      smartDbMapping.memberIs(name, std::move(mapping));
   }
   void smartDbMappingDel(Pelm::String const & name) { smartDbMapping.memberDel(name); }
   void smartDbMappingDelAll() { smartDbMapping.memberDelAll(); }

   // A run has changed its state. If it is over, its output is written into the record and the run is
   // deleted.
   void handleSmartctlState(Pelm::String const & name);
   using NestedSm_SmartctlReactor = Vorn::MemberReactor<&SmartDataMonitorSm::handleSmartctlState>;

   // The runs in flight, each with the reactor that waits for it.
   Vorn::Collection<Pelm::String, Pelm::Ptr<SmartctlProcess>, SmartDataMonitorSm> smartctlProcess{
       *this, "smartctlProcess"};
   Vorn::Collection<Pelm::String, Pelm::Ptr<NestedSm_SmartctlReactor>, SmartDataMonitorSm> smartctlReactor{
       *this, "smartctlReactor"};
   using HN_SmartctlReactor = decltype(smartctlReactor)::Member;

   // Creates the run of a disk and its reactor; an existing run stays as it is.
   Pelm::Ptr<SmartctlProcess> smartctlProcessIs(Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker,
                                                Pelm::String const & device);
   // Deletes the reactor first.
   void smartctlProcessDel(Pelm::String const & device);
   void smartctlProcessDelAll();
   // Creates the reactor of a run; an existing one stays as it is.
   void smartctlReactorIs(Pelm::Ptr<SmartctlProcess> const & process);
   void smartctlReactorDel(Pelm::String const & device) { smartctlReactor.memberDel(device); }
   void smartctlReactorDelAll() { smartctlReactor.memberDelAll(); }

 private:
   void parse(JsonDocument const & document, DeviceSmartData & record, Pelm::String const & devicePath);

   Pelm::Ptr<SmartData> data_;
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker_;
};

STORAGEDEVICES_API Pelm::Ptr<SmartDataMonitorSm> SmartDataMonitorSmIs(
    Pelm::Ptr<PollInterval const> const & pollInterval, Pelm::Ptr<ConnectedDevices const> const & devices,
    Pelm::Ptr<SmartData> const & data, Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker);

}  // namespace StorageDevices
