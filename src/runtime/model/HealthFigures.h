// What the health records say in figures that mean the same for every kind of drive. Pure functions. A drive
// that does not say, or counts in a way that is not known, has no figure rather than a wrong one.
#pragma once

#include <cstdint>
#include <optional>

#include "runtime/Export.h"
#include "runtime/model/EmmcData.h"
#include "runtime/model/IOStatData.h"
#include "runtime/model/NvmeData.h"
#include "runtime/model/SmartData.h"

namespace StorageDevices {

// Percent of the rated life that is left, 0 to 100.
// SMART: the normalised value of the attributes that `lifetimeRemaining` takes. It falls from 100, also where
// the attribute's name and raw value count the use. One whose value rises with its use is not understood.
VORN_API std::optional<double> lifeLeft(DeviceSmartData const & record);
// NVMe: what `percentageUsed` leaves.
VORN_API std::optional<double> lifeLeft(DeviceNvmeData const & record);
// eMMC: in steps of ten, of the more worn of the two kinds of memory; 100 for up to 10 percent used.
VORN_API std::optional<double> lifeLeft(DeviceEmmcData const & record);

// Bytes written to the drive in its life.
// SMART: the raw count of attribute 241, in units by the attribute's name: sectors of 512 bytes or 32 MiB.
VORN_API std::optional<double> bytesWritten(DeviceSmartData const & record);
// NVMe: `dataUnitsWritten`, 512,000 bytes each.
VORN_API std::optional<double> bytesWritten(DeviceNvmeData const & record);
// Bytes written since the kernel knows the drive.
VORN_API std::optional<double> bytesWritten(IOStat const & history);

// Hours powered on, at most a century.
// SMART: attribute 9; where the raw value packs more than the hours, what the tool's rendering begins with.
VORN_API std::optional<double> powerOnHours(DeviceSmartData const & record);
VORN_API std::optional<double> powerOnHours(DeviceNvmeData const & record);

// Degrees Celsius.
VORN_API std::optional<double> temperature(DeviceSmartData const & record);
VORN_API std::optional<double> temperature(DeviceNvmeData const & record);

// The raw value of an attribute as a single count, `largest` at most. None for one that packs several fields.
// The tool then renders more than the count, or the value is larger than any such count can be.
VORN_API std::optional<std::uint64_t> plainCount(SmartAttr const & attr, std::uint64_t largest);

}  // namespace StorageDevices
