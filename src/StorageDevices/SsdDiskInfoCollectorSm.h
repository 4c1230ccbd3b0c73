// Identifies a SATA solid-state disk by running `hdparm -I` on it once.
#pragma once

#include "StorageDevices/DiskInfoCollectorSm.h"
#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Brul/PipedChildProcessSm.h"
#include "runtime/Vorn/Notifiee.h"

namespace StorageDevices {

class SsdDiskInfoCollectorSm final : public DiskInfoCollectorSm {
 public:
   SsdDiskInfoCollectorSm(Pelm::Ptr<ConnectedDisk const> disk,
                          Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker);
   ~SsdDiskInfoCollectorSm() override { hdparmSmDel(); }

   EntityMib::StorageType mibType() const override { return EntityMib::StorageType::sataSsd; }
   Pelm::Ptr<Brul::ChildProcessTrackerSm> const & childProcessTrackerSm() const {
      return childProcessTrackerSm_;
   }
   // The run of the tool; null before the start and after its deletion.
   Pelm::Ptr<Brul::PipedChildProcessSm> const & hdparmSm() const { return hdparmSm_; }
   // Drops the run; a running tool is ended.
   void hdparmSmDel();
   // Whether the tool has been started.
   bool initialized() const { return initialized_; }

   void handleInitialized();
   // The run has changed its state.
   void handleHdparm();
   // Publishes the identity in the output of the run.
   void parseOutput();

 private:
   Pelm::Ptr<Brul::ChildProcessTrackerSm> childProcessTrackerSm_;
   Pelm::Ptr<Brul::PipedChildProcessSm> hdparmSm_;
   bool initialized_ = false;
   Vorn::NotifieeConst hdparmReactor_;
};

Pelm::Ptr<DiskInfoCollectorSm> SsdDiskInfoCollectorSmIs(
    Pelm::Ptr<ConnectedDisk const> const & disk, Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker);

}  // namespace StorageDevices
