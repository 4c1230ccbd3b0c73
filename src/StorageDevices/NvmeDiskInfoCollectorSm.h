// Identifies an NVMe drive by running `nvme list -o json` once.
#pragma once

#include "StorageDevices/DiskInfoCollectorSm.h"
#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Brul/PipedChildProcessSm.h"
#include "runtime/Vorn/Notifiee.h"

namespace StorageDevices {

class NvmeDiskInfoCollectorSm final : public DiskInfoCollectorSm {
 public:
   NvmeDiskInfoCollectorSm(Pelm::Ptr<ConnectedDisk const> disk,
                           Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker);
   ~NvmeDiskInfoCollectorSm() override { nvmeCliSmDel(); }

   EntityMib::StorageType mibType() const override { return EntityMib::StorageType::nvme; }
   Pelm::Ptr<Brul::ChildProcessTrackerSm> const & childProcessTrackerSm() const {
      return childProcessTrackerSm_;
   }
   // The run of the tool; null before the start and after its deletion.
   Pelm::Ptr<Brul::PipedChildProcessSm> const & nvmeCliSm() const { return nvmeCliSm_; }
   // Drops the run; a running tool is ended.
   void nvmeCliSmDel();
   // Whether the tool has been started.
   bool initialized() const { return initialized_; }

   void handleInitialized();
   // The run has changed its state.
   void handleNvmeCli();
   // Publishes the identity in the output of the run.
   void parseOutput();

 private:
   Pelm::Ptr<Brul::ChildProcessTrackerSm> childProcessTrackerSm_;
   Pelm::Ptr<Brul::PipedChildProcessSm> nvmeCliSm_;
   bool initialized_ = false;
   Vorn::NotifieeConst nvmeCliReactor_;
};

Pelm::Ptr<DiskInfoCollectorSm> NvmeDiskInfoCollectorSmIs(
    Pelm::Ptr<ConnectedDisk const> const & disk, Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker);

}  // namespace StorageDevices
