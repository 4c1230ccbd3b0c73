// Polls the smart log of NVMe drives into `NvmeData`, by running `nvme smart-log` once per drive and poll.
//
// Per drive, a poll starts a run unless one is in flight. At the end of the run its output is written into
// the record, and the run is deleted. A run that failed or printed invalid output does not change the record.
#pragma once

#include "StorageDevices/DataMonitorSm.h"
#include "StorageDevices/DeviceToolProcess.h"
#include "StorageDevices/Export.h"
#include "runtime/Vorn/Collection.h"
#include "runtime/Vorn/EachMember.h"
#include "runtime/model/NvmeData.h"

namespace StorageDevices {

// One run of nvme smart-log.
class STORAGEDEVICES_API NvmeCliProcess final : public DeviceToolProcess {
 public:
   NvmeCliProcess(Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker, Pelm::String device)
       : DeviceToolProcess{tracker, std::move(device)} {}

   void run(Pelm::String const & devicePath);
};

class STORAGEDEVICES_API NvmeDataMonitorSm final : public DataMonitorSm {
 public:
   NvmeDataMonitorSm(Pelm::Ptr<PollInterval const> pollInterval, Pelm::Ptr<ConnectedDevices const> devices,
                     Pelm::Ptr<NvmeData> data, Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker);

   // Ignores disks of every other bus.
   void handleDisk(Pelm::String const & name) override;
   bool isInData(Pelm::String const & name) const override;
   void addToData(Pelm::String const & name) override;
   // Ends the disk's run too.
   void removeFromData(Pelm::String const & name) override;
   void forEach(DeviceCallback callback) override;
   void updateDevice(Pelm::String const & name) override;

   Pelm::Ptr<NvmeData> const & data() const { return data_; }
   Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker() const { return tracker_; }

   // A run has changed its state. If it is over, its output is written into the record and the run is
   // deleted.
   void handleNvmeCliState(Pelm::String const & name);
   using NestedSm_NvmeCliReactor = Vorn::MemberReactor<&NvmeDataMonitorSm::handleNvmeCliState>;

   // The runs in flight, each with the reactor that waits for it.
   Vorn::Collection<Pelm::String, Pelm::Ptr<NvmeCliProcess>, NvmeDataMonitorSm> nvmeCliProcess{
       *this, "nvmeCliProcess"};
   Vorn::Collection<Pelm::String, Pelm::Ptr<NestedSm_NvmeCliReactor>, NvmeDataMonitorSm> nvmeCliReactor{
       *this, "nvmeCliReactor"};
   using HN_NvmeCliReactor = decltype(nvmeCliReactor)::Member;

   // Creates the run of a disk and its reactor; an existing run stays as it is.
   Pelm::Ptr<NvmeCliProcess> nvmeCliProcessIs(Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker,
                                              Pelm::String const & device);
   // Deletes the reactor first.
   void nvmeCliProcessDel(Pelm::String const & device);
   void nvmeCliProcessDelAll();
   // Creates the reactor of a run; an existing one stays as it is.
   void nvmeCliReactorIs(Pelm::Ptr<NvmeCliProcess> const & process);
   void nvmeCliReactorDel(Pelm::String const & device) { nvmeCliReactor.memberDel(device); }
   void nvmeCliReactorDelAll() { nvmeCliReactor.memberDelAll(); }

 private:
   Pelm::Ptr<NvmeData> data_;
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker_;
};

STORAGEDEVICES_API Pelm::Ptr<NvmeDataMonitorSm> NvmeDataMonitorSmIs(
    Pelm::Ptr<PollInterval const> const & pollInterval, Pelm::Ptr<ConnectedDevices const> const & devices,
    Pelm::Ptr<NvmeData> const & data, Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker);

}  // namespace StorageDevices
