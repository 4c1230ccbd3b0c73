#include "runtime/model/IOStatData.h"

namespace StorageDevices {

void IOStat::recordMeasurement(Vorn::Seconds time, std::uint64_t bytesRead, std::uint64_t bytesWritten) {
   if (end_ == chunks_.size() * chunkSize)
      chunks_.emplace_back();
   chunks_[end_ / chunkSize][end_ % chunkSize] = {time, bytesRead, bytesWritten};
   ++end_;
}

void IOStat::pruneMeasurements(Vorn::Seconds maxAge) {
   Vorn::Seconds const oldest = Vorn::System::currentTime() - maxAge;
   while (!empty() && (*this)[0].time < oldest) {
      ++first_;
      if (first_ == chunkSize) {
         chunks_.pop_front();
         first_ = 0;
         end_ -= chunkSize;
      }
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
