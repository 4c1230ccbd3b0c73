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

   EntityMib::StorageType mibType() const override { return EntityMib::StorageType::nvme; }
   void handleInitialized();
   void vornDoZombieReactors(bool zombie) override;

 private:
   void handleNvmeCli();
   void parseOutput();

   Pelm::Ptr<Brul::ChildProcessTrackerSm> childProcessTrackerSm_;
   Pelm::Ptr<Brul::PipedChildProcessSm> nvmeCliSm_;
   bool initialized_ = false;
   Vorn::NotifieeConst nvmeCliReactor_;
};

Pelm::Ptr<DiskInfoCollectorSm> NvmeDiskInfoCollectorSmIs(
    Pelm::Ptr<ConnectedDisk const> const & disk, Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker);

}  // namespace StorageDevices
