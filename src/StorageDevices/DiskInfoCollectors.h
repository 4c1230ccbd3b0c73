// Which collector identifies a disk.
#pragma once

#include "StorageDevices/DeviceVerdict.h"
#include "StorageDevices/DiskInfoCollectorSm.h"
#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Pelm/Ptr.h"

struct udev_device;

namespace StorageDevices {

// A new collector, started; one that reads udev alone is done already. Null: no collector knows the device
// better than udev does.
Pelm::Ptr<DiskInfoCollectorSm> diskInfoCollectorFor(udev_device * device, DeviceVerdict const & verdict,
                                                    Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker);

}  // namespace StorageDevices
