// Identifies an NVMe drive by running `nvme list -o json` once.
#pragma once

#include "StorageDevices/ToolDiskInfoCollectorSm.h"

namespace StorageDevices {

class NvmeDiskInfoCollectorSm final : public ToolDiskInfoCollectorSm {
 public:
   NvmeDiskInfoCollectorSm(Pelm::Ptr<ConnectedDisk const> disk,
                           Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker);

   EntityMib::StorageType mibType() const override { return EntityMib::StorageType::nvme; }
   // The run of the tool; null before the start and after its deletion.
   Pelm::Ptr<Brul::PipedChildProcessSm> nvmeCliSm() const { return run(); }
   // Drops the run; a running tool is ended.
   void nvmeCliSmDel() { runDel(); }

   void handleInitialized();
   // The run has changed its state.
   void handleNvmeCli() { handleRun(); }
   void parseOutput() override;
};

Pelm::Ptr<DiskInfoCollectorSm> NvmeDiskInfoCollectorSmIs(
    Pelm::Ptr<ConnectedDisk const> const & disk, Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker);

}  // namespace StorageDevices
