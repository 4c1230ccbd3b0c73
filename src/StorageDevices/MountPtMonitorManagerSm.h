// Decides, once, which mount points are watched: those of the fixed disks that are known when it is made.
// The host makes it when discovery has settled. Disks that come later get no monitor from it, and the monitor
// of one that goes stays: its own checks tell of that.
#pragma once

#include "StorageDevices/ConnectedDevices.h"
#include "StorageDevices/Export.h"
#include "StorageDevices/MountPtMonitorSm.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Collection.h"
#include "runtime/model/MountPtMonitorHelper.h"

namespace StorageDevices {

class STORAGEDEVICES_API MountPtMonitorManagerSm final : public Pelm::Node {
 public:
   explicit MountPtMonitorManagerSm(Pelm::Ptr<ConnectedDevices> devices) : devices_{std::move(devices)} {}
   ~MountPtMonitorManagerSm() override;

   Pelm::Ptr<ConnectedDevices> const & devices() const { return devices_; }
   // That of the monitor made last; each has one of its own. Null when none was made.
   Pelm::Ptr<MountPtMonitorHelper> const & helper() const { return helper_; }

   // By mount point.
   Vorn::Collection<Pelm::String, Pelm::Ptr<MountPtMonitorSm>, MountPtMonitorManagerSm> mountPtMonitorSm{
       *this, "mountPtMonitorSm"};
   void mountPtMonitorSmIs(Pelm::String const & mountPt, Pelm::Ptr<MountPtMonitorHelper> const & helper,
                           Pelm::Ptr<ConnectedDevices const> const & devices);
   void mountPtMonitorSmDel(Pelm::String const & mountPt) { mountPtMonitorSm.memberDel(mountPt); }
   void mountPtMonitorSmDelAll() { mountPtMonitorSm.memberDelAll(); }

   void handleInitialized();
   void vornDoZombieReactors(bool zombie) override;

 private:
   Pelm::Ptr<ConnectedDevices> devices_;
   Pelm::Ptr<MountPtMonitorHelper> helper_;
};

}  // namespace StorageDevices
