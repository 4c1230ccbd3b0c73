// The model of the verdicts: which reasons a disk has.
#include <algorithm>
#include <cmath>
#include <set>

#include "tests/endurance/ModelAgent.h"

namespace Endurance {

namespace {

using Reasons = std::set<std::string>;

constexpr double lifeWarning = 10;
constexpr double lifeFailing = 1;
constexpr double day = 86400;

void ofLife(Reasons & reasons, double left) {
   if (left <= lifeFailing)
      reasons.insert("life-used-up");
   else if (left <= lifeWarning)
      reasons.insert("life-low");
}

void ofAttributes(Reasons & reasons, Health const & health) {
   constexpr int lifeThreshold = 1;  // of the row that shows it
   if (health.belowThreshold || health.lifeLeft <= lifeThreshold)
      reasons.insert("attribute-below-threshold");
   if (health.reallocated > 0)
      reasons.insert("reallocated-sectors");
   if (health.pending > 0)
      reasons.insert("pending-sectors");
   if (health.uncorrectable > 0)
      reasons.insert("uncorrectable-errors");
   if (health.timeouts > 0)
      reasons.insert("command-timeouts");
   ofLife(reasons, health.lifeLeft);
}

void ofLog(Reasons & reasons, Health const & log, bool hasLimit) {
   constexpr char const * bits[] = {"nvme-spare-exhausted", "overheat", "nvme-unreliable", "nvme-read-only",
                                    "nvme-backup-failed"};
   for (std::size_t bit = 0; bit < std::size(bits); ++bit)
      if ((static_cast<unsigned>(log.warning) >> bit & 1U) != 0)
         reasons.insert(bits[bit]);
   if (log.mediaErrors > 0)
      reasons.insert("media-errors");
   // Nine tenths of what lies above the drive's limit, 10, are used.
   if (hasLimit && log.spare > 0 && log.spare <= 19)
      reasons.insert("spare-low");
   ofLife(reasons, log.lifeLeft);
}

void ofRegisters(Reasons & reasons, Health const & health) {
   int const tenth = std::min((100 - health.lifeLeft) / 10, 10) + 1;
   if (tenth == 11)
      reasons.insert("emmc-life-exceeded");
   else
      ofLife(reasons, 110 - tenth * 10);
   if (health.endOfLife == 3)
      reasons.insert("emmc-spare-urgent");
   if (health.endOfLife == 2)
      reasons.insert("emmc-spare-low");
}

// Of a tool's run, and of files that are read at once.
void ofReading(Reasons & reasons, ModelReading const & reading, bool isOverdue) {
   constexpr int inARow = 3;
   if (reading.hangs || isOverdue)
      reasons.insert("tool-hangs");
   else if (reading.failures >= inARow)
      reasons.insert("reading-fails");
   else if (!reading.wasGood)
      reasons.insert("not-read-yet");
}

std::string text(Reasons const & reasons) {
   std::string all;
   for (std::string const & reason : reasons)
      all += (all.empty() ? "" : " ") + reason;
   return all;
}

}  // namespace

std::string Model::reasons(ModelDisk & disk) {
   Reasons reasons;
   if (disk.passed && !*disk.passed)
      reasons.insert("self-assessment-failed");
   if (disk.attributes)
      ofAttributes(reasons, *disk.attributes);
   if (disk.log)
      ofLog(reasons, *disk.log, disk.log->spare > 0);
   if (disk.emmc)
      ofRegisters(reasons, *disk.emmc);
   auto const isOverdue = [&](ModelReading const & reading) {
      double const silence = std::max(world_.interval() * 3.5, 180.0);
      return reading.ended && agenda_.now() - *reading.ended > silence;
   };
   for (auto const * const tool : {disk.smartctl.get(), disk.smartLog.get()})
      if (tool)
         ofReading(reasons, tool->reading, isOverdue(tool->reading));
   if (disk.place->kind == Kind::emmc)
      ofReading(reasons, disk.registers, false);
   if (disk.statistics.failures >= 3)
      reasons.insert("reading-fails");
   if (auto const sensor = agent_->sensors.find(disk.serial); sensor != agent_->sensors.end()) {
      if (sensor->second->alarm == 2) {
         reasons.insert("critical-temperature");
         reasons.erase("overheat");
      } else if (sensor->second->alarm == 1) {
         reasons.insert("overheat");
      }
   }
   for (ModelRecord const & record : agent_->records)
      if (record.serial == disk.serial && record.logged != 0 && utc() - record.logged <= day)
         reasons.insert("kernel-errors");
   if (auto const mounted = agent_->fileSystems.find(disk.place->name); mounted != agent_->fileSystems.end())
      for (std::string const & reason : mounted->second->reasons(disk.serial))
         reasons.insert(reason);
   return text(reasons);
}

Verdicts Model::verdicts() {
   Verdicts all;
   for (auto const & mounted : agent_->fileSystems)
      if (std::none_of(agent_->disks.begin(), agent_->disks.end(),
                       [&](auto const & disk) { return disk->place->name == mounted.first; }))
         mounted.second->diskIsGone();
   for (auto const & disk : agent_->disks)
      all[disk->serial] = reasons(*disk);
   for (std::string const & serial : agent_->gone)
      all[serial] = "removed";
   return all;
}

}  // namespace Endurance
