// Watches one mount point of a fixed disk: it must be mounted, writable and on the same device as before.
// While it is, a health test of the file system runs; otherwise the monitor logs the error, once a day.
//
// Inputs: the helper's mount query, every five minutes; the connected disks, for the disk's identity.
// Outputs: MONITOR_ERROR, and the start and stop of the health test.
#pragma once

#include <cstdint>
#include <optional>

#include "StorageDevices/ConnectedDevices.h"
#include "StorageDevices/Export.h"
#include "StorageDevices/FsHealthSm.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/model/MountPtMonitorHelper.h"

namespace StorageDevices {

class STORAGEDEVICES_API MountPtMonitorSm final : public Pelm::Node {
 public:
   // `helper` is not null. `mountPt` is compared with the mount table as it is: absolute, without a slash at
   // its end.
   MountPtMonitorSm(Pelm::String mountPt, Pelm::Ptr<MountPtMonitorHelper> helper,
                    Pelm::Ptr<ConnectedDevices const> devices);

   template <class T>
   using Attribute = Vorn::Attribute<T, MountPtMonitorSm>;

   Pelm::String const & mountPt() const { return mountPt_; }
   Pelm::Ptr<MountPtMonitorHelper> const & helper() const { return helper_; }
   Pelm::Ptr<ConnectedDevices const> const & devices() const { return devices_; }

   // The device behind the mount point and its block size in bytes, as first seen. They stay: another device
   // is an error as long as the monitor lives.
   Attribute<Pelm::String> mountPtDevice{*this, "mountPtDevice"};
   Attribute<std::uint32_t> mountPtDeviceBlkSize{*this, "mountPtDeviceBlkSize", 0};
   // Null until a check has succeeded. Then it stays: a check starts it, or stops it at an error.
   Attribute<Pelm::Ptr<FsHealthSm>> fsHealthSm{*this, "fsHealthSm"};
   // Replaces the test by a new one, which is not started. `blkSize` as for FsHealthSm.
   void fsHealthSmIs(Pelm::String const & mountPt, std::uint32_t blkSize,
                     Pelm::Ptr<ConnectedDevices const> const & devices);

   // To the next check, after an error (a day) and otherwise (five minutes); framework time.
   Attribute<Vorn::Seconds> holdOffTime{*this, "holdOffTime", 86400};
   void holdOffTimeIs(Vorn::Seconds value) { holdOffTime.valueIs(value); }
   Attribute<Vorn::Seconds> periodicCheckTime{*this, "periodicCheckTime", 300};
   void periodicCheckTimeIs(Vorn::Seconds value) { periodicCheckTime.valueIs(value); }
   // Remaining checks that may find nothing mounted before that is an error: an hour's, since file systems
   // may be mounted late. 0 as soon as one was mounted.
   Attribute<std::uint32_t> initialMountFailuresRemaining{*this, "initialMountFailuresRemaining", 12};
   // Drives the checks. Null before `initialized`.
   Vorn::Clock::NotifieeConst const * testClock() const { return testClock_ ? &*testClock_ : nullptr; }
   Attribute<bool> initialized{*this, "initialized", false};

   void handleInitialized();
   // A check. Logs an error at each check that finds one.
   void handleTestClock();
   // Stops or resumes the health test too.
   void vornDoZombieReactors(bool zombie) override;

 private:
   void handleMounted(MountPtMonitorHelper::MountState const & mount);
   void handleNotMounted();
   void handleError(char const * errorMsg);
   void armTestClock(Vorn::Seconds delay);

   Pelm::String mountPt_;
   Pelm::Ptr<MountPtMonitorHelper> helper_;
   Pelm::Ptr<ConnectedDevices const> devices_;
   std::optional<Vorn::Clock::Notifiee<&MountPtMonitorSm::handleTestClock>> testClock_;
};

}  // namespace StorageDevices
