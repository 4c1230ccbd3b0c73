// Helpers of discovery: pattern matching as the appliance's files mean it, and bus addresses.
#pragma once

#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Optional.h"

struct udev_device;

namespace StorageDevices::CDevsUtil {

// Whether the pattern, a basic regular expression, matches the beginning of the string and at least
// one character of it. Decided by the system's `expr`, which is run and awaited.
bool bashRegexMatch(char const * string, char const * pattern);

// The same in the words of `expr`: 0 it matches, 1 it does not, 2 the pattern is no regular expression,
// 127 `expr` cannot be run; anything else is its failure. `startError`: the errno value of an `expr` that
// could not be started, else 0.
struct ExprAnswer {
   int status = 0;
   int startError = 0;
};
ExprAnswer askExpr(char const * string, char const * pattern);

// The serial under which udev knows the device: ID_SERIAL_SHORT, or ID_SERIAL where there is no
// short one (cards); empty when it has neither.
Pelm::String udevSerial(udev_device * device);

// Bus addresses; empty when the device is not on that bus.
// SATA: attribute "unique_id" of the SCSI host above the device, for example 2 below ata2.
Vorn::Optional<Pelm::String> getAtaScsiId(udev_device * device);
// USB: the port of the USB interface above the device, for example 2-1.
Vorn::Optional<Pelm::String> getUsbInterface(udev_device * device);
// NVMe: the namespace's name, for example nvme0n1.
Vorn::Optional<Pelm::String> getNvme(udev_device * device);

}  // namespace StorageDevices::CDevsUtil
