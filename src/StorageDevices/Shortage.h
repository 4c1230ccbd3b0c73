// Whether the process or the machine is short of descriptors, processes or memory. The disk that was asked
// for is as good as before, so it is worth trying again.
#pragma once

#include "runtime/Vorn/Shortage.h"

namespace StorageDevices {

using Vorn::errorAndRemedy;
using Vorn::isShortage;

// How many descriptors libudev, `expr` and the start of a tool take at most at a time.
constexpr int descriptorsPerDevice = 8;

// 0 when that many can be opened now, else why not. libudev does not say so: without a descriptor a property
// or a parent is simply not there.
int descriptorShortage(int count = descriptorsPerDevice);

}  // namespace StorageDevices
