// Creates the collector that identifies a disk.
#pragma once

#include "StorageDevices/DeviceClassification.h"
#include "StorageDevices/DiskInfoCollectorSm.h"
#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Pelm/Ptr.h"

struct udev_device;

namespace StorageDevices {

// Answers a started collector; one that reads only udev has finished. Null: the classification names no
// collector.
Pelm::Ptr<DiskInfoCollectorSm> diskInfoCollectorFor(udev_device * device,
                                                    DeviceClassification const & classification,
                                                    Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker);

}  // namespace StorageDevices
