// The base of the polling monitors: which disks they watch, and when they read them.
//
// Inputs: the connected disks and the poll interval. The monitor's data collection follows the disks. Each
// poll calls `updateDevice` once per disk. The first poll is at the first turn of the loop, each further one
// an interval after the previous. A change of the interval polls at once. A removable disk is read as soon as
// it appears. What the reading of one disk raises goes to the host's failure sink, and the others are read.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>

#include "StorageDevices/ConnectedDevices.h"
#include "StorageDevices/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/Notifiee.h"
#include "runtime/model/PollInterval.h"

namespace StorageDevices {

class STORAGEDEVICES_API DataMonitorSm : public Pelm::Node {
 public:
   using DeviceCallback = void (*)(DataMonitorSm &, Pelm::String const & serial);

   // Publishes `pollCount`.
   Pelm::Publisher * publisher() const override { return &pollCount.publisher(); }

   // A disk appeared, changed or disappeared.
   virtual void handleDisk(Pelm::String const & serial);
   // Whether the data collection has an entry for the disk; creates and deletes it.
   virtual bool isInData(Pelm::String const & serial) const = 0;
   virtual void addToData(Pelm::String const & serial) = 0;
   virtual void removeFromData(Pelm::String const & serial) = 0;
   // Calls back once for every entry of the data collection.
   virtual void forEach(DeviceCallback callback) = 0;
   // Reads the disk's data into its entry, now or later.
   virtual void updateDevice(Pelm::String const & serial) = 0;

   Pelm::Ptr<PollInterval const> const & pollInterval() const { return pollInterval_; }
   Pelm::Ptr<ConnectedDevices const> const & devices() const { return devices_; }

   // False until `handleInitialized` has finished.
   Vorn::Attribute<bool, DataMonitorSm> initialized{*this, "initialized", false};

   // Polls since the monitor was made. One counts when each disk's reading has begun; tools answer later.
   Vorn::Attribute<std::uint32_t, DataMonitorSm> pollCount{*this, "pollCount", 0};
   void pollCountInc(std::uint32_t n) { pollCount.valueIs(pollCount() + n); }

   // The subclass's short name of its data, for traces.
   Vorn::Attribute<Pelm::String, DataMonitorSm> typeStr{*this, "typeStr"};

   // Wakes the next poll; null before `handleInitialized`.
   Vorn::Clock::NotifieeConst const * clock() const { return clock_ ? &*clock_ : nullptr; }

   void handleInitialized();
   // A poll.
   void handleClock();
   // Reads every disk of the data collection.
   void update();

 protected:
   DataMonitorSm(Pelm::Ptr<PollInterval const> pollInterval, Pelm::Ptr<ConnectedDevices const> devices);

   void typeStrIs(Pelm::String value) { typeStr.valueIs(std::move(value)); }

 private:
   Pelm::Ptr<PollInterval const> pollInterval_;
   Pelm::Ptr<ConnectedDevices const> devices_;
   std::optional<Vorn::Clock::Notifiee<&DataMonitorSm::handleClock>> clock_;
   Vorn::NotifieeConst pollIntervalReactor_;
   Vorn::NotifieeConst devicesReactor_;
};

}  // namespace StorageDevices
