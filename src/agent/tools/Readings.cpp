#include "agent/tools/Readings.h"

#include <algorithm>

namespace Agent {

namespace {

using StorageDevices::HealthReading;
using BusType = StorageDevices::ConnectedDisk::BusType;

constexpr unsigned shownPolls = 2;
constexpr double silentPolls = 3.5;
constexpr Vorn::Seconds leastSilence = 180;  // a disk may take long to wake up

}  // namespace

std::vector<Reading> Readings::of(Pelm::String const & serial) const {
   std::vector<Reading> readings;
   auto const disk = entities_.devices->disk(serial);
   if (!disk)
      return readings;
   // The record of a disk that moved to another bus stays, but is not read any more.
   bool const isEmmc = disk->busType() == BusType::other;
   if (auto const record = entities_.smart->deviceData(serial); record && !isEmmc)
      readings.push_back(toolReading(record->reading));
   if (auto const record = entities_.nvme->deviceData(serial); record && disk->busType() == BusType::nvme)
      readings.push_back(toolReading(record->reading));
   if (auto const record = entities_.emmc->deviceData(serial); record && isEmmc)
      readings.push_back(ownReading(record->reading));
   if (auto const history = entities_.ioStat->ioStatData(serial))
      readings.push_back(ownReading(history->reading));
   return readings;
}

Reading Readings::toolReading(HealthReading const & reading) const {
   Reading shown = inUtc(reading);
   Vorn::Seconds const silence = std::max(entities_.pollInterval->interval() * silentPolls, leastSilence);
   if (reading.ended() && Vorn::System::currentTime() - *reading.ended() > silence)
      shown.failure = {shown.failure ? shown.failure->since : *reading.ended() + utcOffset(),
                       "its run has not ended", static_cast<unsigned>(silentPolls), true};
   return shown;
}

Reading Readings::ownReading(HealthReading const & reading) const {
   Reading shown = inUtc(reading);
   if (shown.failure && shown.failure->polls < shownPolls)
      shown.failure.reset();
   return shown;
}

Reading Readings::inUtc(HealthReading const & reading) const {
   Vorn::Seconds const offset = utcOffset();
   Reading shown{reading.source(), {}, {}};
   if (reading.count() > 0)
      shown.lastGood = reading.time() + offset;
   if (auto const & failure = reading.failure())
      shown.failure = {failure->since + offset, failure->reason, failure->polls, failure->hangs};
   return shown;
}

// The tolerance covers the time between the readings of the two clocks.
Vorn::Seconds Readings::utcOffset() const {
   constexpr Vorn::Seconds correction = 0.5;
   Vorn::Seconds const before = Vorn::System::currentTime();
   Vorn::Seconds const utc = Vorn::System::currentTimeUtc();
   Vorn::Seconds const after = Vorn::System::currentTime();
   if (before + utcOffset_ > utc + correction || after + utcOffset_ < utc - correction)
      utcOffset_ = utc - before;
   return utcOffset_;
}

}  // namespace Agent
