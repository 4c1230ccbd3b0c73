// Detects a shortage of descriptors, processes or memory. A shortage is no error of the disk, so another
// attempt is worthwhile.
#pragma once

#include "runtime/Vorn/Shortage.h"

namespace StorageDevices {

using Vorn::errorAndRemedy;
using Vorn::isShortage;

// The most descriptors that libudev, `expr` or the start of a tool needs at a time.
constexpr int descriptorsPerDevice = 8;

// 0 when that many descriptors can be opened now, else the errno value. libudev does not report such a
// shortage: it leaves out a property or a parent.
int descriptorShortage(int count = descriptorsPerDevice);

}  // namespace StorageDevices
