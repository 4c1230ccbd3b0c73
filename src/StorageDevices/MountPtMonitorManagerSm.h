// Creates the monitors of mount points, once: for the fixed disks that are connected at its construction. The
// host creates it when `internalDevicesReady` is true. A later disk gets no monitor. The monitor of a removed
// disk stays; its checks log the removal. Two disks with one mount point share a monitor.
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

   Pelm::Ptr<ConnectedDevices> const & devices() const { return devices_; }
   // The helper of the monitor created last; each monitor has its own. Null without a monitor.
   Pelm::Ptr<MountPtMonitorHelper> const & helper() const { return helper_; }

   // By mount point.
   Vorn::Collection<Pelm::String, Pelm::Ptr<MountPtMonitorSm>, MountPtMonitorManagerSm> mountPtMonitorSm{
       *this, "mountPtMonitorSm"};
   // Creates the monitor of a mount point and starts it; replaces an existing one. Without memory for it
   // there is none.
   void mountPtMonitorSmIs(Pelm::String const & mountPt, Pelm::Ptr<MountPtMonitorHelper> const & helper,
                           Pelm::Ptr<ConnectedDevices const> const & devices);
   void mountPtMonitorSmDel(Pelm::String const & mountPt) { mountPtMonitorSm.memberDel(mountPt); }
   void mountPtMonitorSmDelAll() { mountPtMonitorSm.memberDelAll(); }

   void handleInitialized();
   // Stops or resumes the monitors too.
   void vornDoZombieReactors(bool zombie) override;

 private:
   Pelm::Ptr<ConnectedDevices> devices_;
   Pelm::Ptr<MountPtMonitorHelper> helper_;
};

}  // namespace StorageDevices
