// Completes the record of a new disk with its identity, once.
//
// Input: the disk with udev's properties. Output: `finalDisk`, published exactly once, even if the identity
// could not be read. The SSD and NVMe variants run a tool. The eMMC and eUSB variants read udev, and have
// finished when the factory returns them.
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

   // The constructor's argument. Fields that the collector cannot read are copied from it.
   Pelm::Ptr<ConnectedDisk const> const & device() const { return device_; }

   // Null until the collector is done.
   Vorn::Attribute<Pelm::Ptr<ConnectedDisk const>, DiskInfoCollectorSm> finalDisk{*this, "finalDisk"};

   // Publishes a record of the ten values, unless the published one has the same, and answers it.
   Pelm::Ptr<ConnectedDisk const> finalDiskIs(Pelm::String const & name, EntityMib::StorageType mibDeviceType,
                                              Pelm::String const & blockDevice,
                                              Pelm::String const & mountPoint, Pelm::String const & model,
                                              Pelm::String const & firmwareRevision, bool removable,
                                              ConnectedDisk::BusType busType, Pelm::String const & devAddress,
                                              std::uint32_t sizeGb);
   // Publishes `device()` with the collector's storage type.
   void finalizeUnchanged();
   // Clears the result and answers it.
   Pelm::Ptr<ConnectedDisk const> finalDiskDel();

   // The errno value when the tool could not be started, else 0. The result is then that of
   // `finalizeUnchanged`.
   int startError() const { return startError_; }

   // Publishes `finalDisk`.
   Pelm::Publisher * publisher() const override { return &finalDisk.publisher(); }
   // The storage type of every disk that this kind of collector completes.
   virtual EntityMib::StorageType mibType() const = 0;

 protected:
   explicit DiskInfoCollectorSm(Pelm::Ptr<ConnectedDisk const> device);

   // Publishes the identity that was read; the other fields are those of `device()`.
   void finalize(Pelm::String const & serial, Pelm::String const & model,
                 Pelm::String const & firmwareRevision, std::uint32_t sizeGb);
   void startErrorIs(int error) { startError_ = error; }

   static Vorn::TraceHandle collectorTrace;

 private:
   Pelm::Ptr<ConnectedDisk const> device_;
   int startError_ = 0;
};

}  // namespace StorageDevices
