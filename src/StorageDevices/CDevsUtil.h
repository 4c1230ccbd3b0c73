// Helpers of discovery: matching of the appliance's patterns, and bus addresses.
#pragma once

#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Optional.h"

struct udev_device;

namespace StorageDevices::CDevsUtil {

// Whether the pattern, a basic regular expression, matches at least one character at the beginning of the
// string. Runs the system's `expr` and waits for it.
bool bashRegexMatch(char const * string, char const * pattern);

// The same with the exit code of `expr`. 0: match; 1: no match; 2: invalid pattern; 127: `expr` cannot be
// run; any other: `expr` failed. `startError`: the errno value when `expr` could not be started, else 0.
struct ExprAnswer {
   int status = 0;
   int startError = 0;
};
ExprAnswer askExpr(char const * string, char const * pattern);

// udev's serial of the device: ID_SERIAL_SHORT, else ID_SERIAL (eMMC devices and SD cards have only that);
// empty without either.
Pelm::String udevSerial(udev_device * device);

// Bus addresses; empty when the device is not on that bus.
// SATA: attribute "unique_id" of the SCSI host above the device, for example 2 below ata2.
Vorn::Optional<Pelm::String> getAtaScsiId(udev_device * device);
// USB: the port of the USB interface above the device, for example 2-1.
Vorn::Optional<Pelm::String> getUsbInterface(udev_device * device);
// NVMe: the namespace's name, for example nvme0n1.
Vorn::Optional<Pelm::String> getNvme(udev_device * device);

}  // namespace StorageDevices::CDevsUtil
