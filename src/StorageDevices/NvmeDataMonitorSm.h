// Polls the smart log of NVMe drives into `NvmeData`, by running `nvme smart-log` once per drive and poll.
// When and for which drives: DataMonitorSm.h; what a failed run does: ToolMonitorSm.h.
#pragma once

#include "StorageDevices/Export.h"
#include "StorageDevices/ToolMonitorSm.h"
#include "runtime/model/NvmeData.h"

namespace StorageDevices {

// One run of nvme smart-log.
class STORAGEDEVICES_API NvmeCliProcess final : public DeviceToolProcess {
 public:
   NvmeCliProcess(Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker, Pelm::String device)
       : DeviceToolProcess{tracker, std::move(device)} {}

   // `devicePath`: the node of the namespace, such as /dev/nvme0n1. A second call does nothing.
   void run(Pelm::String const & devicePath);
};

class STORAGEDEVICES_API NvmeDataMonitorSm final : public ToolMonitorSm<NvmeData, NvmeCliProcess> {
 public:
   NvmeDataMonitorSm(Pelm::Ptr<PollInterval const> pollInterval, Pelm::Ptr<ConnectedDevices const> devices,
                     Pelm::Ptr<NvmeData> data, Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker);

   // Starts a run unless one is in flight. A disk that is not connected, or on another bus, is ignored.
   void updateDevice(Pelm::String const & name) override;

   // A run has changed its state. If it is over, its output is written into the record and the run is
   // deleted.
   void handleNvmeCliState(Pelm::String const & name) { handleRun(name); }

   // The runs in flight, each with the reactor that waits for it.
   decltype(run) const & nvmeCliProcess = run;
   decltype(runReactor) const & nvmeCliReactor = runReactor;
   using NestedSm_NvmeCliReactor = RunReactor;
   using HN_NvmeCliReactor = decltype(runReactor)::Member;

   // Creates the run of a disk and its reactor; an existing run stays as it is.
   Pelm::Ptr<NvmeCliProcess> nvmeCliProcessIs(Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker,
                                              Pelm::String const & device) {
      return runIs(tracker, device);
   }
   // Deletes the reactor first, so that nothing hears of the end. A running tool is killed.
   void nvmeCliProcessDel(Pelm::String const & device) { runDel(device); }
   void nvmeCliProcessDelAll() { runDelAll(); }
   // Creates the reactor of a run; an existing one stays as it is.
   void nvmeCliReactorIs(Pelm::Ptr<NvmeCliProcess> const & process) { runReactorIs(process); }
   void nvmeCliReactorDel(Pelm::String const & device) { runReactorDel(device); }
   void nvmeCliReactorDelAll() { runReactorDelAll(); }

 private:
   bool isRead(ConnectedDisk const & disk) const override;
   void handleRun(Pelm::String const & name) override;
};

STORAGEDEVICES_API Pelm::Ptr<NvmeDataMonitorSm> NvmeDataMonitorSmIs(
    Pelm::Ptr<PollInterval const> const & pollInterval, Pelm::Ptr<ConnectedDevices const> const & devices,
    Pelm::Ptr<NvmeData> const & data, Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker);

}  // namespace StorageDevices
