// Identifies a SATA solid-state disk by running `hdparm -I` on it once.
#pragma once

#include "StorageDevices/ToolDiskInfoCollectorSm.h"

namespace StorageDevices {

class SsdDiskInfoCollectorSm final : public ToolDiskInfoCollectorSm {
 public:
   SsdDiskInfoCollectorSm(Pelm::Ptr<ConnectedDisk const> disk,
                          Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker);

   EntityMib::StorageType mibType() const override { return EntityMib::StorageType::sataSsd; }
   // The run of the tool; null before the start and after its deletion.
   Pelm::Ptr<Brul::PipedChildProcessSm> hdparmSm() const { return run(); }
   // Drops the run; a running tool is ended.
   void hdparmSmDel() { runDel(); }

   void handleInitialized();
   // The run has changed its state.
   void handleHdparm() { handleRun(); }
   void parseOutput() override;
};

Pelm::Ptr<DiskInfoCollectorSm> SsdDiskInfoCollectorSmIs(
    Pelm::Ptr<ConnectedDisk const> const & disk, Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker);

}  // namespace StorageDevices
