// Logs a message about a disk whose remaining life falls faster than one unit per 30 days.
//
// Inputs: the life figures in the SMART and NVMe records (percent left, or the vendor's own unit), and the
// newest measurement of the I/O statistics. Outputs: LIFETIME_INFO and LIFETIME_WARNING.
//
// Per disk: the first figure is only recorded. So is the first change, since the previous figure began at an
// unknown time. Each later change is logged if it came too fast. A rise never is. The first ten messages
// about a disk are informational, unless its figure is below 30; all others are warnings.
#pragma once

#include <cstdint>
#include <utility>

#include "StorageDevices/ConnectedDevices.h"
#include "StorageDevices/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/Collection.h"
#include "runtime/Vorn/EachMember.h"
#include "runtime/Vorn/Notifiee.h"
#include "runtime/Vorn/Optional.h"
#include "runtime/Vorn/Seconds.h"
#include "runtime/model/EmmcData.h"
#include "runtime/model/IOStatData.h"
#include "runtime/model/NvmeData.h"
#include "runtime/model/SmartData.h"

namespace StorageDevices {

struct LoggedDisk;

// The state of one disk since the monitor was made, or since the disk came. It goes with its disk.
class STORAGEDEVICES_API DeviceLifetimeChange : public Pelm::Node {
 public:
   explicit DeviceLifetimeChange(Pelm::String serial) : serial_{std::move(serial)} {}

   Pelm::String const & serial() const { return serial_; }

   template <class T>
   using Attribute = Vorn::Attribute<T, DeviceLifetimeChange>;

   // Whether the figure has changed since the first one, up or down.
   Attribute<bool> firstDropDetected{*this, "firstDropDetected", false};
   void firstDropDetectedIs(bool value) { firstDropDetected.valueIs(value); }
   // Messages logged for this disk; wraps after 255.
   Attribute<std::uint8_t> numPastLogs{*this, "numPastLogs", 0};
   void numPastLogsIs(std::uint8_t value) { numPastLogs.valueIs(value); }
   // The latest figure; -1: none yet.
   Attribute<std::int64_t> lastValue{*this, "lastValue", -1};
   void lastValueIs(std::int64_t value) { lastValue.valueIs(value); }
   // Framework time of that figure, and the bytes written until then.
   Attribute<Vorn::Seconds> timestamp{*this, "timestamp", 0};
   void timestampIs(Vorn::Seconds value) { timestamp.valueIs(value); }
   Attribute<std::uint64_t> lastBytesWritten{*this, "lastBytesWritten", 0};
   void lastBytesWrittenIs(std::uint64_t value) { lastBytesWritten.valueIs(value); }

 private:
   Pelm::String serial_;
};

class STORAGEDEVICES_API DeviceLifetimeMonitorSm final : public Pelm::Node {
 public:
   // The factory's arguments, not null. `emmcData` is kept for its reader alone.
   DeviceLifetimeMonitorSm(Pelm::Ptr<ConnectedDevices> devices, Pelm::Ptr<EmmcData const> emmcData,
                           Pelm::Ptr<NvmeData const> nvmeData, Pelm::Ptr<SmartData const> smartData,
                           Pelm::Ptr<IOStatData> iostat);

   Pelm::Ptr<ConnectedDevices> const & devices() const { return devices_; }
   Pelm::Ptr<EmmcData const> const & emmcData() const { return emmcData_; }
   Pelm::Ptr<NvmeData const> const & nvmeData() const { return nvmeData_; }
   Pelm::Ptr<SmartData const> const & smartData() const { return smartData_; }
   Pelm::Ptr<IOStatData> const & iostat() const { return iostat_; }

   // By serial number, for disks that had a figure.
   Vorn::Collection<Pelm::String, Pelm::Ptr<DeviceLifetimeChange>, DeviceLifetimeMonitorSm>
       deviceLifetimeChange{*this, "deviceLifetimeChange"};
   // Creates the record of a disk; one that is there already stays as it is.
   void deviceLifetimeChangeIs(Pelm::String const & serial) {
      if (!deviceLifetimeChange.contains(serial))
         deviceLifetimeChange.memberIs(serial, Pelm::make<DeviceLifetimeChange>(serial));
   }
   void deviceLifetimeChangeDel(Pelm::String const & serial) { deviceLifetimeChange.memberDel(serial); }
   void deviceLifetimeChangeDelAll() { deviceLifetimeChange.memberDelAll(); }

   // The figure of a disk changed. It is the raw value of a SMART attribute, the percent left of an NVMe
   // drive, or the register of an eMMC device. No reactor watches eMMC devices. Without an old value nothing
   // happens. `handleNvmeData` raises Vorn::BadOptionalAccess for an old value without a new one.
   void handleSmartData(Pelm::String const & serial, Vorn::Optional<OptionalSmartAttr> const & oldValue,
                        Vorn::Optional<OptionalSmartAttr> const & newValue);
   void handleNvmeData(Pelm::String const & serial, Vorn::Optional<NvmeAttr> const & oldValue,
                       Vorn::Optional<NvmeAttr> const & newValue);
   void handleEmmcData(Pelm::String const & serial, Vorn::Optional<LifetimeEmmcAttr> const & oldValue,
                       Vorn::Optional<LifetimeEmmcAttr> const & newValue);
   // Records the figure, and logs a fall that came too fast. An equal figure changes nothing. A disk that is
   // not connected is handled too; its messages have empty names.
   void handleChange(Pelm::String const & serial, std::int64_t newValue);

   // Subscribes to the records. A figure that is there already counts when it changes.
   void handleInitialized();

 private:
   void handleDisk(Pelm::String const & serial);
   void handleLifetimeRemaining(Pelm::String const & serial, Vorn::Change<OptionalSmartAttr> const & change);
   void handlePercentageUsed(Pelm::String const & serial, Vorn::Change<NvmeAttr> const & change);
   std::uint64_t bytesWritten(Pelm::String const & serial) const;
   void logFall(DeviceLifetimeChange & change, LoggedDisk const & disk, std::uint64_t gigabytes,
                Vorn::Seconds span);

   Pelm::Ptr<ConnectedDevices> devices_;
   Pelm::Ptr<EmmcData const> emmcData_;
   Pelm::Ptr<NvmeData const> nvmeData_;
   Pelm::Ptr<SmartData const> smartData_;
   Pelm::Ptr<IOStatData> iostat_;
   Vorn::NotifieeConst devicesReactor_;
   Vorn::EachMember<&DeviceLifetimeMonitorSm::handleLifetimeRemaining, &SmartData::deviceData,
                    &DeviceSmartData::lifetimeRemaining>
       smartReactors_{*this};
   Vorn::EachMember<&DeviceLifetimeMonitorSm::handlePercentageUsed, &NvmeData::deviceData,
                    &DeviceNvmeData::percentageUsed>
       nvmeReactors_{*this};
};

}  // namespace StorageDevices
