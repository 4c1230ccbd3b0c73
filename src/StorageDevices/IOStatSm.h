// Samples the bytes read from and written to each disk, and keeps the samples of a day.
//
// Inputs: the connected disks, the poll interval and each disk's stat file. Output: a history per disk.
// A disk is sampled when it appears and at every poll. The first poll is one interval after the start; a
// change of the interval polls at once. The history of a removed disk is deleted. A day and one interval are
// kept. A sample is a read of a small file in sysfs, in the handler itself.
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
#include "runtime/model/IOStatData.h"
#include "runtime/model/PollInterval.h"

namespace StorageDevices {

class STORAGEDEVICES_API IOStatSm final : public Pelm::Node {
 public:
   IOStatSm(Pelm::Ptr<PollInterval const> pollInterval, Pelm::Ptr<ConnectedDevices const> connectedDevices,
            Pelm::Ptr<IOStatData> ioStatData);

   // The path of a block device's stat file; the first "%s" stands for the device's name. At the start the
   // environment variable STORAGEDEVICES_IOSTAT_PATH_BASE replaces it, if set.
   Vorn::Attribute<Pelm::String, IOStatSm> ioStatPathBase{*this, "ioStatPathBase", "/sys/block/%s/stat"};
   void ioStatPathBaseIs(Pelm::String value) { ioStatPathBase.valueIs(std::move(value)); }

   // When false, samples are read and checked but not stored.
   Vorn::Attribute<bool, IOStatSm> shouldRecordMeasurement{*this, "shouldRecordMeasurement", true};
   void shouldRecordMeasurementIs(bool value) { shouldRecordMeasurement.valueIs(value); }

   // Failed samples since the start: the file could not be opened, had no line, or its line lacked the
   // numbers.
   Vorn::Attribute<std::uint32_t, IOStatSm> openErrorCount{*this, "openErrorCount", 0};
   Vorn::Attribute<std::uint32_t, IOStatSm> getlineErrorCount{*this, "getlineErrorCount", 0};
   Vorn::Attribute<std::uint32_t, IOStatSm> regexErrorCount{*this, "regexErrorCount", 0};

   // False until `handleInitialized` has finished.
   Vorn::Attribute<bool, IOStatSm> initialized{*this, "initialized", false};

   Pelm::Ptr<PollInterval const> const & pollInterval() const { return pollInterval_; }
   Pelm::Ptr<ConnectedDevices const> const & connectedDevices() const { return connectedDevices_; }
   Pelm::Ptr<IOStatData> const & ioStatData() const { return ioStatData_; }

   // Wakes the next poll; null before `handleInitialized`.
   Vorn::Clock::NotifieeConst const * pollClock() const { return pollClock_ ? &*pollClock_ : nullptr; }

   void handleInitialized();
   // Makes the histories those of the connected disks: of all, or of one.
   void handleConnectedDevices();
   void handleConnectedDevices(Pelm::String const & serial);
   // A poll.
   void handlePollClock();
   // Takes a sample of a disk that has a history. A failure is counted, and recorded in `IOStat::reading`.
   void collectIoStatForDisk(Pelm::String const & serial);

 private:
   void handleDisk(Pelm::String const & serial) { handleConnectedDevices(serial); }
   void openErrorCountInc() { openErrorCount.valueIs(openErrorCount() + 1); }
   void getlineErrorCountInc() { getlineErrorCount.valueIs(getlineErrorCount() + 1); }
   void regexErrorCountInc() { regexErrorCount.valueIs(regexErrorCount() + 1); }
   void collectIoStatForDisk(Pelm::String const & serial, IOStat & history);
   bool sample(ConnectedDisk const & disk, IOStat & history);

   Pelm::Ptr<PollInterval const> pollInterval_;
   Pelm::Ptr<ConnectedDevices const> connectedDevices_;
   Pelm::Ptr<IOStatData> ioStatData_;
   std::optional<Vorn::Clock::Notifiee<&IOStatSm::handlePollClock>> pollClock_;
   Vorn::NotifieeConst pollIntervalReactor_;
   Vorn::NotifieeConst connectedDevicesReactor_;
};

}  // namespace StorageDevices
