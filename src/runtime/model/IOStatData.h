// The histories of bytes read from and written to the unit's disks. Written by the I/O statistics monitor
// alone.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>

#include "runtime/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Collection.h"
#include "runtime/Vorn/Optional.h"
#include "runtime/Vorn/Seconds.h"
#include "runtime/model/HealthReading.h"

namespace StorageDevices {

// The history of one disk, oldest measurement first. It is stored in chunks: the overhead is small, and
// dropping the oldest measurements moves no others.
class VORN_API IOStat : public Pelm::Node {
 public:
   struct Measurement {
      Vorn::Seconds time;  // of the framework
      // Since the device appeared to the kernel.
      std::uint64_t bytesRead = 0;
      std::uint64_t bytesWritten = 0;
      bool operator==(Measurement const &) const = default;
   };

   // The latest good one is the newest measurement.
   HealthReading reading{"iostat"};

   // Appends a measurement, and counts a good reading. Times must not decrease. Drops the oldest measurements
   // where less than 4 MiB of memory is left; raises std::bad_alloc where that does not help.
   void recordMeasurement(Vorn::Seconds time, std::uint64_t bytesRead, std::uint64_t bytesWritten);

   // Drops measurements older than `maxAge`, by framework time.
   void pruneMeasurements(Vorn::Seconds maxAge);

   // The newest measurement; empty without one.
   Vorn::Optional<Measurement> topMeasurement() const;

   std::size_t size() const { return end_ - first_; }
   bool empty() const { return size() == 0; }
   // 0 is the oldest; `index` must be below `size()`. The reference is valid until that measurement is
   // dropped.
   Measurement const & operator[](std::size_t index) const {
      std::size_t const at = first_ + index;
      return chunks_[at / chunkSize][at % chunkSize];
   }

 private:
   static constexpr std::size_t chunkSize = 64;

   void addChunk();
   void dropOldestChunks(std::size_t count);

   std::deque<std::array<Measurement, chunkSize>> chunks_;
   // Positions counted from the start of the first chunk.
   std::size_t first_ = 0;
   std::size_t end_ = 0;
};

// The histories of the connected disks. One goes with its disk.
class VORN_API IOStatData : public Pelm::Node {
 public:
   IOStatData();
   ~IOStatData() override;

   // By serial number.
   Vorn::Collection<Pelm::String, Pelm::Ptr<IOStat>, IOStatData> ioStatData{*this, "ioStatData"};

   // Creates the history of a disk; an existing one stays.
   void ioStatDataIs(Pelm::String const & serial);
   void ioStatDataDel(Pelm::String const & serial);
   void ioStatDataDelAll();
};

}  // namespace StorageDevices
