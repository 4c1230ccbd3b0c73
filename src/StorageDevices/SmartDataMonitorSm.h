// Polls the SMART health status and attribute table of SATA, NVMe and USB drives into `SmartData`. Runs
// `smartctl` once per drive and poll. When and for which drives: DataMonitorSm.h; what a failed run does:
// ToolMonitorSm.h. A report without a table, or without a health status, leaves that part of the record as it
// is.
#pragma once

#include "StorageDevices/Export.h"
#include "StorageDevices/ToolMonitorSm.h"
#include "runtime/Vorn/Collection.h"
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
   // bridge; otherwise the tool detects the type. A second call does nothing.
   void run(Pelm::String const & devicePath, bool scsi);
};

class STORAGEDEVICES_API SmartDataMonitorSm final : public ToolMonitorSm<SmartData, SmartctlProcess> {
 public:
   SmartDataMonitorSm(Pelm::Ptr<PollInterval const> pollInterval, Pelm::Ptr<ConnectedDevices const> devices,
                      Pelm::Ptr<SmartData> data, Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker);

   // Ignores disks without a bus address: the eMMC monitor reads those.
   void handleDisk(Pelm::String const & name) override;
   // Deletes the disk's mapping too.
   void removeFromData(Pelm::String const & name) override;
   // Starts a run unless one is in flight. A disk that is not connected, or that the eMMC monitor reads, is
   // ignored.
   void updateDevice(Pelm::String const & name) override;

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
   void handleSmartctlState(Pelm::String const & name) { handleRun(name); }

   // The runs in flight, each with the reactor that waits for it.
   decltype(run) const & smartctlProcess = run;
   decltype(runReactor) const & smartctlReactor = runReactor;
   using NestedSm_SmartctlReactor = RunReactor;
   using HN_SmartctlReactor = decltype(runReactor)::Member;

   // Creates the run of a disk and its reactor; an existing run stays as it is.
   Pelm::Ptr<SmartctlProcess> smartctlProcessIs(Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker,
                                                Pelm::String const & device) {
      return runIs(tracker, device);
   }
   // Deletes the reactor first, so that nothing hears of the end. A running tool is killed.
   void smartctlProcessDel(Pelm::String const & device) { runDel(device); }
   void smartctlProcessDelAll() { runDelAll(); }
   // Creates the reactor of a run; an existing one stays as it is.
   void smartctlReactorIs(Pelm::Ptr<SmartctlProcess> const & process) { runReactorIs(process); }
   void smartctlReactorDel(Pelm::String const & device) { runReactorDel(device); }
   void smartctlReactorDelAll() { runReactorDelAll(); }

 private:
   bool isRead(ConnectedDisk const & disk) const override;
   void handleRun(Pelm::String const & name) override;
   // Whether the output had a health status or a table.
   bool parse(JsonDocument const & document, DeviceSmartData & record, Pelm::String const & devicePath);
};

STORAGEDEVICES_API Pelm::Ptr<SmartDataMonitorSm> SmartDataMonitorSmIs(
    Pelm::Ptr<PollInterval const> const & pollInterval, Pelm::Ptr<ConnectedDevices const> const & devices,
    Pelm::Ptr<SmartData> const & data, Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker);

}  // namespace StorageDevices
