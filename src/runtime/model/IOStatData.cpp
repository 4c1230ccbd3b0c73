#include "runtime/model/IOStatData.h"

#include <new>

namespace StorageDevices {

void IOStat::recordMeasurement(Vorn::Seconds time, std::uint64_t bytesRead, std::uint64_t bytesWritten) {
   if (end_ == chunks_.size() * chunkSize)
      addChunk();
   chunks_[end_ / chunkSize][end_ % chunkSize] = {time, bytesRead, bytesWritten};
   ++end_;
}

void IOStat::addChunk() {
   constexpr std::size_t share = 4;
   try {
      chunks_.emplace_back();
   } catch (std::bad_alloc const &) {
      if (chunks_.size() < share)
         throw;
      dropOldestChunks(chunks_.size() / share);
      chunks_.emplace_back();
   }
}

void IOStat::dropOldestChunks(std::size_t count) {
   chunks_.erase(chunks_.begin(), chunks_.begin() + static_cast<std::ptrdiff_t>(count));
   first_ = 0;
   end_ -= count * chunkSize;
}

void IOStat::pruneMeasurements(Vorn::Seconds maxAge) {
   Vorn::Seconds const oldest = Vorn::System::currentTime() - maxAge;
   while (!empty() && (*this)[0].time < oldest) {
      ++first_;
      if (first_ == chunkSize)
         dropOldestChunks(1);
   }
}

Vorn::Optional<IOStat::Measurement> IOStat::topMeasurement() const {
   if (empty())
      return {};
   return (*this)[size() - 1];
}

IOStatData::IOStatData() = default;
IOStatData::~IOStatData() = default;

void IOStatData::ioStatDataIs(Pelm::String const & serial) {
   if (!ioStatData.contains(serial))
      ioStatData.memberIs(serial, Pelm::make<IOStat>());
}
void IOStatData::ioStatDataDel(Pelm::String const & serial) {
   ioStatData.memberDel(serial);
}
void IOStatData::ioStatDataDelAll() {
   ioStatData.memberDelAll();
}

}  // namespace StorageDevices
