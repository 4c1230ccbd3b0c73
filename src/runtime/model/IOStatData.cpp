#include "runtime/model/IOStatData.h"

#include <sys/mman.h>

namespace StorageDevices {

namespace {

// Whether this process can still allocate the memory that readings, tools and answers need together.
bool isMemoryLeft() {
   constexpr std::size_t bytes = std::size_t{4} << 20U;
   void * const block = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
   return block != MAP_FAILED && munmap(block, bytes) == 0;
}

}  // namespace

void IOStat::recordMeasurement(Vorn::Seconds time, std::uint64_t bytesRead, std::uint64_t bytesWritten) {
   if (end_ == chunks_.size() * chunkSize)
      addChunk();
   chunks_[end_ / chunkSize][end_ % chunkSize] = {time, bytesRead, bytesWritten};
   ++end_;
   reading.countInc(time);
}

void IOStat::addChunk() {
   if (chunks_.size() > 1 && !isMemoryLeft())
      dropOldestChunks(1);
   chunks_.emplace_back();
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
