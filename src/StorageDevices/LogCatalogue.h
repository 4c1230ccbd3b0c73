// The ten messages that the library logs, in the catalogue's order. Other programs match the texts, so every
// letter stays, misspelt ones included.
//
// Each has a name, a format whose %s take the arguments in order, an explanation, an action and a severity of
// syslog. "SN", "Model" and "Firmware" are those of the disk's record; they may be empty, as for a disk that
// is not connected. The host's log sink gets the filled-in text. No message has a rate limit of its own: the
// monitor that logs it decides how often. Arguments may have any bytes, as they came from the devices.
#pragma once

#include <array>

#include "runtime/Vorn/Log.h"

namespace StorageDevices::Catalogue {

using Action = Vorn::RecommendedAction::Standard;

constexpr int error = 3;
constexpr int warning = 4;
constexpr int informational = 6;

// A disk wears fast, and less than 30 percent of its life is left or earlier messages did not help.
// Arguments: mount point, serial, model, firmware, gigabytes written (whole units of 2^30 bytes; 0: less
// or not known), days (with a fraction). At most one per change of the figure.
inline constexpr Vorn::LogDescriptor lifetimeWarning{
    "STORAGEDEVICE_LIFETIME_WARNING",
    "Lifetime of %s (SN:%s Model:%s Firmware:%s) has decreased faster than expected (%sGB written in the "
    "last %s "
    "days).",
    "Large amounts of data have been persistently written to the storage device and/or its lifetime "
    "remaining is less "
    "than 30%.",
    Action::replaceHardware, warning};

// The same otherwise, for the first messages about a disk.
inline constexpr Vorn::LogDescriptor lifetimeInfo{
    "STORAGEDEVICE_LIFETIME_INFO",
    "Lifetime of %s (SN:%s Model:%s Firmware:%s) has decreased faster than expected (%sGB written in the "
    "last %s "
    "days).",
    "A large amount of data has been written to the storage device recently, which reduces its lifetime.",
    "Consider reducing the amount of data being written to the storage device.", informational};

// A fixed disk was removed. Argument: its serial number. Once per removal.
inline constexpr Vorn::LogDescriptor offline{
    "STORAGEDEVICE_OFFLINE", "A removal event occurred unexpectedly for internal storage device %s",
    "The kernel notified userspace that an internal storage device was removed from the system. This could "
    "indicate a "
    "problem with the bus or the device itself.",
    Action::contactSupport, error};

// Once per disk, when detection starts: its mount-source file names another device first. Arguments: what is
// mounted, the mount point, the device that is expected there.
inline constexpr Vorn::LogDescriptor unexpectedPartitionMounted{
    "STORAGEDEVICE_UNEXPECTED_PARTITION_MOUNTED",
    "Unexpected partition %s mounted as %s. Expected storage device partition %s to be mounted instead.",
    "Expected the specified storage device partition to be mounted at the mount point but a different "
    "partition is "
    "mountedinstead. This is unexpected.",
    Action::contactSupport, error};

// Likewise: its mount-source file names no device, or mapped ones alone. Arguments: the expected device, the
// mount point.
inline constexpr Vorn::LogDescriptor partitionNotMounted{
    "STORAGEDEVICE_PARTITION_NOT_MOUNTED", "Storage device partition %s not mounted as %s",
    "The specified storage device partition is not currently mounted. This can happen if the partition is "
    "not properly "
    "formatted or if the storage device was not detected by the driver.",
    Action::contactSupport, error};

// An expected disk is missing when detection starts. Argument: its mount point.
inline constexpr Vorn::LogDescriptor detectionError{
    "STORAGEDEVICE_DETECTION_ERROR", "Failed to detect storage device %s on bootup.",
    "Failed to detect a storage device during system bootup. This can happen if the device is not recognized "
    "by the "
    "driver or if the system encountered an error when booting up.",
    Action::contactSupport, error};

// A file system is nearly full; again only when its use has fallen in between. Arguments: mount point,
// serial, model, firmware, what it has exceeded.
inline constexpr Vorn::LogDescriptor monitorWarning{
    "STORAGEDEVICE_MONITOR_WARNING", "disk utilization on %s (SN:%s Model:%s Firmware:%s) %s",
    "Monitoring of a storage device has detected low disk space.",
    "Please archive and delete unnecessary data files on this device.", warning};

// A kernel line reports an error of a removable disk. At most one a day
// for each disk. Arguments: block device, serial, model, firmware.
inline constexpr Vorn::LogDescriptor ioErrorExternalUsb{
    "STORAGEDEVICE_IO_ERROR_EXTERNAL_USB",
    "USB storage at %s (SN:%s Model:%s Firmware:%s) appears to be faulty.",
    "Storage device is reporting problems. This could mean faulty hardware.",
    "Please check and replace external USB drive.", error};

// The same of a fixed disk.
inline constexpr Vorn::LogDescriptor ioError{
    "STORAGEDEVICE_IO_ERROR", "%s (SN:%s Model:%s Firmware:%s) has read or write errors and is unstable.",
    "Storage device is reporting problems. This could mean faulty hardware or device reaching end of life.",
    Action::replaceHardware, error};

// A test of a file system failed, or the check of its mount point ("mountPtCheck"). Each of the two waits a
// day after its message, unless its delay is set otherwise. Arguments: operation, mount point, serial, model,
// firmware, cause.
inline constexpr Vorn::LogDescriptor monitorError{
    "STORAGEDEVICE_MONITOR_ERROR",
    "A test operation (%s) encountered an error on %s (SN:%s Model:%s Firmware:%s): %s",
    "Monitoring of a storage device experienced an error. This could indicate underlying issues with the "
    "physical "
    "medium.",
    Action::replaceHardware, error};

// All of them, as the module registers them with the log; hosts find them by `Vorn::modules()`.
inline constexpr std::array<Vorn::LogDescriptor, 10> all{lifetimeWarning,
                                                         lifetimeInfo,
                                                         offline,
                                                         unexpectedPartitionMounted,
                                                         partitionNotMounted,
                                                         detectionError,
                                                         monitorWarning,
                                                         ioErrorExternalUsb,
                                                         ioError,
                                                         monitorError};

}  // namespace StorageDevices::Catalogue
