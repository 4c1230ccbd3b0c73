#include "StorageDevices/DeviceLifetimeMonitorSm.h"

#include <algorithm>

#include "StorageDevices/Factories.h"
#include "StorageDevices/LogMessages.h"
#include "StorageDevices/LoggedDisk.h"
#include "runtime/Vorn/Format.h"
#include "runtime/Vorn/Machine.h"
#include "runtime/Vorn/Trace.h"

namespace StorageDevices {

namespace {

Vorn::TraceHandle traceHandle{"StorageDeviceLifetimeMonitorSm", true};
LogMessages lifetimeLogs;

constexpr double secondsPerDay = 86400;
constexpr double fastestFall = 1 / (30 * secondsPerDay);  // units per second
constexpr unsigned gigabyteShift = 30;                    // units of 2^30 bytes
constexpr std::int64_t lowLife = 30;
constexpr std::uint8_t informationalLogs = 9;  // past messages; after more, each is a warning
constexpr std::int64_t noFigure = -1;

// Percent left of an NVMe drive. The drive counts the percent used, which may exceed 100.
std::int64_t percentLeft(NvmeAttr const & percentageUsed) {
   constexpr std::int64_t all = 100;
   constexpr std::int64_t sane = std::int64_t{1} << 32;
   return all - std::clamp(percentageUsed.value, -sane, all);
}

}  // namespace

DeviceLifetimeMonitorSm::DeviceLifetimeMonitorSm(Pelm::Ptr<ConnectedDevices> devices,
                                                 Pelm::Ptr<EmmcData const> emmcData,
                                                 Pelm::Ptr<NvmeData const> nvmeData,
                                                 Pelm::Ptr<SmartData const> smartData,
                                                 Pelm::Ptr<IOStatData> iostat)
    : devices_{std::move(devices)},
      emmcData_{std::move(emmcData)},
      nvmeData_{std::move(nvmeData)},
      smartData_{std::move(smartData)},
      iostat_{std::move(iostat)} {
   devicesReactor_.notifierIs(devices_);
   devicesReactor_.on<&DeviceLifetimeMonitorSm::handleDisk>(devices_->disk, *this);
   devicesReactor_.hasNotificationActiveIs(true);
}

void DeviceLifetimeMonitorSm::handleInitialized() {
   smartReactors_.notifierIs(smartData_);
   nvmeReactors_.notifierIs(nvmeData_);
}

void DeviceLifetimeMonitorSm::handleDisk(Pelm::String const & serial) {
   if (!devices_->disk.contains(serial))
      deviceLifetimeChangeDel(serial);
}

void DeviceLifetimeMonitorSm::handleLifetimeRemaining(Pelm::String const & serial,
                                                      Vorn::Change<OptionalSmartAttr> const & change) {
   handleSmartData(serial, change.old, change.now);
}

void DeviceLifetimeMonitorSm::handlePercentageUsed(Pelm::String const & serial,
                                                   Vorn::Change<NvmeAttr> const & change) {
   auto const left = [](NvmeAttr const & used) { return NvmeAttr{used.name, percentLeft(used)}; };
   handleNvmeData(serial, left(*change.old), left(*change.now));
}

void DeviceLifetimeMonitorSm::handleSmartData(Pelm::String const & serial,
                                              Vorn::Optional<OptionalSmartAttr> const & oldValue,
                                              Vorn::Optional<OptionalSmartAttr> const & newValue) {
   if (oldValue && newValue && *newValue)
      handleChange(serial, (*newValue)->raw);
}

void DeviceLifetimeMonitorSm::handleNvmeData(Pelm::String const & serial,
                                             Vorn::Optional<NvmeAttr> const & oldValue,
                                             Vorn::Optional<NvmeAttr> const & newValue) {
   if (oldValue)
      handleChange(serial, newValue->value);
}

void DeviceLifetimeMonitorSm::handleEmmcData(Pelm::String const & serial,
                                             Vorn::Optional<LifetimeEmmcAttr> const & oldValue,
                                             Vorn::Optional<LifetimeEmmcAttr> const & newValue) {
   if (oldValue && newValue && newValue->present())
      handleChange(serial, newValue->percentValue());
}

void DeviceLifetimeMonitorSm::handleChange(Pelm::String const & serial, std::int64_t newValue) {
   // The host calls this too, and a notification or message from here may make it drop the monitor.
   Pelm::KeepAlive const keepAlive{*this};
   deviceLifetimeChangeIs(serial);
   Pelm::Ptr<DeviceLifetimeChange> const change = deviceLifetimeChange(serial);
   LoggedDisk const disk{Pelm::Ptr<ConnectedDisk const>{devices_->disk(serial)}};
   std::int64_t const oldValue = change->lastValue();
   if (newValue == oldValue)
      return;
   Vorn::Seconds const oldTime = change->timestamp();
   std::uint64_t const oldBytes = change->lastBytesWritten();
   Vorn::Seconds const now = Vorn::System::currentTime();
   std::uint64_t const newBytes = bytesWritten(serial);
   change->lastValueIs(newValue);
   change->timestampIs(now);
   change->lastBytesWrittenIs(newBytes);
   VORN_TRACE(traceHandle, 2) << " Lifetime changed from " << oldValue << " to " << newValue << " for "
                              << disk.name << " SN: " << serial;
   if (oldValue == noFigure)
      return;
   if (!change->firstDropDetected()) {
      change->firstDropDetectedIs(true);
      VORN_TRACE(traceHandle, 2) << " Detected first drop since agent start for " << disk.name
                                 << " SN: " << serial;
      return;
   }
   double const fall = static_cast<double>(oldValue) - static_cast<double>(newValue);
   double const rate = fall / (now - oldTime).value();
   if (rate <= fastestFall) {
      VORN_TRACE(traceHandle, 2) << rate << " Was within threshold for " << disk.name << " SN: " << serial;
      return;
   }
   // A counter that fell has restarted, so the difference is unknown.
   std::uint64_t const bytes = newBytes > oldBytes ? newBytes - oldBytes : 0;
   logFall(*change, disk, bytes >> gigabyteShift, now - oldTime);
}

std::uint64_t DeviceLifetimeMonitorSm::bytesWritten(Pelm::String const & serial) const {
   Pelm::Ptr<IOStat> const history = iostat_->ioStatData(serial);
   auto const newest = history ? history->topMeasurement() : Vorn::Optional<IOStat::Measurement>{};
   return newest ? newest->bytesWritten : 0;
}

void DeviceLifetimeMonitorSm::logFall(DeviceLifetimeChange & change, LoggedDisk const & disk,
                                      std::uint64_t gigabytes, Vorn::Seconds span) {
   Pelm::String const days = Vorn::valueToString(span.value() / 60 / 60 / 24);
   Pelm::String const written = Vorn::valueToString(gigabytes);
   auto const log = [&](auto & message) {
      message(disk.name, change.serial(), disk.model, disk.firmware, written, days);
   };
   if (change.numPastLogs() > informationalLogs || change.lastValue() < lowLife)
      log(lifetimeLogs.lifetimeWarning);
   else
      log(lifetimeLogs.lifetimeInfo);
   change.numPastLogsIs(static_cast<std::uint8_t>(change.numPastLogs() + 1));
}

Pelm::Ptr<DeviceLifetimeMonitorSm> deviceLifetimeMonitorSmFactory(
    Pelm::Ptr<ConnectedDevices> const & devices, Pelm::Ptr<EmmcData const> const & emmcData,
    Pelm::Ptr<NvmeData const> const & nvmeData, Pelm::Ptr<SmartData const> const & smartData,
    Pelm::Ptr<IOStatData> const & iostat) {
   return Vorn::makeMachine<DeviceLifetimeMonitorSm>(devices, emmcData, nvmeData, smartData, iostat);
}

}  // namespace StorageDevices
