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

   EntityMib::StorageType mibType() const override { return EntityMib::StorageType::sataSsd; }
   void handleInitialized();
   void vornDoZombieReactors(bool zombie) override;

 private:
   void handleHdparm();
   void parseOutput();

   Pelm::Ptr<Brul::ChildProcessTrackerSm> childProcessTrackerSm_;
   Pelm::Ptr<Brul::PipedChildProcessSm> hdparmSm_;
   bool initialized_ = false;
   Vorn::NotifieeConst hdparmReactor_;
};

Pelm::Ptr<DiskInfoCollectorSm> SsdDiskInfoCollectorSmIs(
    Pelm::Ptr<ConnectedDisk const> const & disk, Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker);

}  // namespace StorageDevices
