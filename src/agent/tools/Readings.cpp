#include "agent/tools/Readings.h"

#include <algorithm>
#include <utility>

#include "agent/tools/ToolMeaning.h"

namespace Agent {

namespace {

using StorageDevices::HealthReading;
using BusType = StorageDevices::ConnectedDisk::BusType;

constexpr double latePolls = 2.5;
constexpr double silentPolls = 3.5;
constexpr double leastSilence = 180;  // seconds: a disk may take long to wake up

// The number of good readings of a record; the record may be missing.
template <class Record>
std::uint64_t countOf(Pelm::Ptr<Record> const & record) {
   return record ? record->reading.count() : 0;
}

std::optional<Vorn::Seconds> lastGoodOf(HealthReading const & reading) {
   return reading.count() > 0 ? std::optional{reading.time()} : std::nullopt;
}

bool isSmartctl(Brul::FinishedRun const & run) {
   return run.argv.front() == "smartctl" &&
          std::find(run.argv.begin(), run.argv.end(), "-HA") != run.argv.end();
}

bool isNvmeSmartLog(Brul::FinishedRun const & run) {
   return run.argv.front() == "nvme" && run.argv[1] == "smart-log";
}

// A failure if the last good reading, or else the disk's appearance, is too long ago.
std::optional<Reading::Failure> lateness(std::optional<Vorn::Seconds> lastGood, Vorn::Seconds seen,
                                         Vorn::Seconds interval, char const * reason) {
   Vorn::Seconds const now = Vorn::System::currentTime();
   if (now - std::max(lastGood.value_or(seen), seen) <= interval * latePolls)
      return std::nullopt;
   // The time of the first missing reading.
   Vorn::Seconds const first = lastGood ? *lastGood + interval : seen;
   double const missed = (now - first).value() / interval.value() + 0.5;
   return Reading::Failure{first, reason, static_cast<unsigned>(std::clamp(missed, 1.0, 1e9))};
}

}  // namespace

Readings::Readings(Entities const & entities, Pelm::Ptr<Brul::ChildProcessTrackerSm const> const & tracker)
    : entities_{entities} {
   devicesReactor_.notifierIs(entities_.devices);
   devicesReactor_.on<&Readings::handleDisk>(entities_.devices->disk, *this);
   devicesReactor_.hasNotificationActiveIs(true);
   trackerReactor_.notifierIs(tracker);
   trackerReactor_.on<&Readings::handleFinishedRun>(tracker->finishedRun, *this);
   trackerReactor_.hasNotificationActiveIs(true);
   for (auto const & [serial, disk] : entities_.devices->disk)
      add(serial);
}

void Readings::handleDisk(Pelm::String const & serial,
                          Vorn::Change<Pelm::Ptr<StorageDevices::ConnectedDisk>> const & change) {
   if (!change.now)
      disks_.erase(serial);
   else if (!disks_.contains(serial))
      add(serial);
}

void Readings::add(Pelm::String const & serial) {
   Disk disk{Vorn::System::currentTime(), {}, {}};
   disk.smartctl.count = countOf(entities_.smart->deviceData(serial));
   disk.nvme.count = countOf(entities_.nvme->deviceData(serial));
   disks_.emplace(serial, std::move(disk));
}

void Readings::handleFinishedRun(Vorn::Change<Pelm::Ptr<Brul::FinishedRun const>> const & change) {
   if (!change.now || !*change.now || (*change.now)->argv.size() < 2)
      return;
   Brul::FinishedRun const & run = **change.now;
   bool const smartctl = isSmartctl(run);
   if (!smartctl && !isNvmeSmartLog(run))
      return;
   std::vector<std::pair<Tool *, std::uint64_t>> read;
   for (auto & [serial, disk] : disks_) {
      auto const connected = entities_.devices->disk(serial);
      if (!connected || connected->blockDevice() != run.argv.back())
         continue;
      if (smartctl)
         read.emplace_back(&disk.smartctl, countOf(entities_.smart->deviceData(serial)));
      else
         read.emplace_back(&disk.nvme, countOf(entities_.nvme->deviceData(serial)));
   }
   note(read, run);
}

// The monitor has written the output into the record before this is notified of the run's end. A disk that
// was identified by another name has two records. The run belongs to the record that has changed.
void Readings::note(std::vector<std::pair<Tool *, std::uint64_t>> const & read,
                    Brul::FinishedRun const & run) {
   bool const filed =
       std::any_of(read.begin(), read.end(), [](auto const & one) { return one.first->count != one.second; });
   for (auto const & [tool, count] : read)
      if (!filed || tool->count != count)
         note(*tool, count, run);
}

void Readings::note(Tool & tool, std::uint64_t count, Brul::FinishedRun const & run) {
   tool.ended = Vorn::System::currentTime();
   if (count != tool.count) {
      tool.count = count;
      tool.failure.reset();
      return;
   }
   if (tool.failure)
      ++tool.failure->polls;
   else
      tool.failure = Reading::Failure{*tool.ended, {}};
   tool.failure->reason = run.failed ? runMeaning(run) : "unreadable output";
   tool.failure->hangs = run.timedOut;
}

std::vector<Reading> Readings::of(Pelm::String const & serial) const {
   std::vector<Reading> readings;
   auto const found = disks_.find(serial);
   auto const connected = entities_.devices->disk(serial);
   if (found == disks_.end() || !connected)
      return readings;
   Disk const & disk = found->second;
   // The record of a disk that moved to another bus stays, but is not read any more.
   bool const isEmmc = connected->busType() == BusType::other;
   if (auto const record = entities_.smart->deviceData(serial); record && !isEmmc)
      readings.push_back(inUtc(toolReading("smartctl", disk.smartctl, record->reading)));
   if (auto const record = entities_.nvme->deviceData(serial);
       record && connected->busType() == BusType::nvme)
      readings.push_back(inUtc(toolReading("nvme", disk.nvme, record->reading)));
   if (auto const record = entities_.emmc->deviceData(serial); record && isEmmc)
      readings.push_back(inUtc(emmcReading(disk, record->reading)));
   if (auto const history = entities_.ioStat->ioStatData(serial))
      readings.push_back(inUtc(ioStatReading(disk, *history)));
   return readings;
}

// The tolerance covers the time between the readings of the two clocks.
Vorn::Seconds Readings::utcOffset() const {
   constexpr double correction = 0.5;
   Vorn::Seconds const before = Vorn::System::currentTime();
   Vorn::Seconds const utc = Vorn::System::currentTimeUtc();
   Vorn::Seconds const after = Vorn::System::currentTime();
   if (before + utcOffset_ > utc + correction || after + utcOffset_ < utc - correction)
      utcOffset_ = utc - before;
   return utcOffset_;
}

// In UTC.
Reading Readings::inUtc(Reading reading) const {
   Vorn::Seconds const offset = utcOffset();
   if (reading.lastGood)
      *reading.lastGood += offset;
   if (reading.failure)
      reading.failure->since += offset;
   return reading;
}

Reading Readings::toolReading(char const * source, Tool const & tool, HealthReading const & reading) const {
   Vorn::Seconds const silence =
       std::max(entities_.pollInterval->interval() * silentPolls, Vorn::Seconds{leastSilence});
   auto failure = tool.failure;
   if (tool.ended && Vorn::System::currentTime() - *tool.ended > silence)
      failure = {failure ? failure->since : *tool.ended, "its run does not end",
                 static_cast<unsigned>(silentPolls), true};
   return {source, lastGoodOf(reading), std::move(failure)};
}

Reading Readings::emmcReading(Disk const & disk, HealthReading const & reading) const {
   auto const lastGood = lastGoodOf(reading);
   return {"emmc", lastGood,
           lateness(lastGood, disk.seen, entities_.pollInterval->interval(),
                    "the registers life_time and pre_eol_info cannot be read")};
}

Reading Readings::ioStatReading(Disk const & disk, StorageDevices::IOStat const & history) const {
   std::optional<Vorn::Seconds> lastGood;
   if (auto const newest = history.topMeasurement())
      lastGood = newest->time;
   return {"iostat", lastGood,
           lateness(lastGood, disk.seen, entities_.pollInterval->interval(),
                    "the statistics in /sys/block cannot be read")};
}

}  // namespace Agent
