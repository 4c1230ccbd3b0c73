// Completes the record of a newly seen disk with its identity, and ends.
//
// Input: the disk as discovery knows it. Output: `finalDisk`, published exactly once, whether the
// identity could be read or not. The variants differ in where they read it: the report of a tool
// (SSD, NVMe), which takes a while, or udev (eMMC, eUSB), which is done before the collector is
// handed out.
#pragma once

#include <cstdint>

#include "StorageDevices/ConnectedDisk.h"
#include "StorageDevices/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/Publisher.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/Trace.h"

namespace StorageDevices {

class STORAGEDEVICES_API DiskInfoCollectorSm : public Pelm::Node {
 public:
   static constexpr std::uint64_t bytesPerGb = 1'000'000'000;

   // The disk that was handed in. What a collector cannot learn is copied from it.
   Pelm::Ptr<ConnectedDisk const> const & device() const { return device_; }

   // Null until the collector is done.
   Vorn::Attribute<Pelm::Ptr<ConnectedDisk const>, DiskInfoCollectorSm> finalDisk{*this, "finalDisk"};

   // Publishes a record of the ten values, unless the one published last has the same.
   Pelm::Ptr<ConnectedDisk const> finalDiskIs(Pelm::String const & name, EntityMib::StorageType mibDeviceType,
                                              Pelm::String const & blockDevice,
                                              Pelm::String const & mountPoint, Pelm::String const & model,
                                              Pelm::String const & firmwareRevision, bool removable,
                                              ConnectedDisk::BusType busType, Pelm::String const & devAddress,
                                              std::uint32_t sizeGb);
   // Publishes the disk as it was handed in, but for the storage type.
   void finalizeUnchanged();
   // Clears the result and answers it.
   Pelm::Ptr<ConnectedDisk const> finalDiskDel();

   // The errno value of a tool that could not be started, else 0. Then the result is the disk as handed in.
   int startError() const { return startError_; }

   // Where those who wait for the result subscribe.
   Pelm::Publisher * publisher() const override { return &finalDisk.publisher(); }
   // The storage type of every disk that this kind of collector completes.
   virtual EntityMib::StorageType mibType() const = 0;

 protected:
   explicit DiskInfoCollectorSm(Pelm::Ptr<ConnectedDisk const> device);

   // Publishes what was read; all else is the device's.
   void finalize(Pelm::String const & serial, Pelm::String const & model,
                 Pelm::String const & firmwareRevision, std::uint32_t sizeGb);
   void startErrorIs(int error) { startError_ = error; }

   static Vorn::TraceHandle traceHandle;

 private:
   Pelm::Ptr<ConnectedDisk const> device_;
   int startError_ = 0;
};

}  // namespace StorageDevices
