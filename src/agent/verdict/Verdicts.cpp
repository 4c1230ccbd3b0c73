#include "agent/verdict/Verdicts.h"

#include <algorithm>
#include <utility>

namespace Agent {

namespace {

using StorageDevices::ConnectedDisk;

// Framework time.
constexpr Vorn::Seconds intervalWhileFollowed = 1;

Reason const * reasonOf(DiskVerdict const * verdict, std::string_view code) {
   if (!verdict)
      return nullptr;
   auto const & reasons = verdict->reasons();
   auto const found = std::find_if(reasons.begin(), reasons.end(),
                                   [code](Reason const & reason) { return reason.code == code; });
   return found == reasons.end() ? nullptr : &*found;
}

// Since the first of its reasons began, unless all of them stood behind a worse one.
Vorn::Seconds verdictSince(Verdict verdict, std::vector<Reason> const & reasons, DiskVerdict const * before,
                           Vorn::Seconds now) {
   if (before && before->verdict() == verdict)
      return before->since();
   Vorn::Seconds since = now;
   for (Reason const & reason : reasons)
      if (reason.verdict == verdict && !reasonOf(before, reason.code))
         since = std::min(since, reason.since);
   return before ? std::max(since, before->since()) : since;
}

}  // namespace

void DiskVerdicts::diskIs(Pelm::String const & serial, Pelm::Ptr<DiskVerdict const> const & newVerdict,
                          Pelm::Ptr<DiskFigures const> newFigures) {
   auto const known = figures(serial);
   if (!known || !known->isEq(*newFigures))
      figures.memberIs(serial, std::move(newFigures));
   auto const stored = verdict(serial);
   if (!stored || !stored->isEq(*newVerdict))
      verdict.memberIs(serial, newVerdict);
}

void DiskVerdicts::diskDel(Pelm::String const & serial) {
   figures.memberDel(serial);
   verdict.memberDel(serial);
}

Verdicts::Verdicts(Entities const & entities, Config::VerdictLimits const & limits, Readings const & readings,
                   MountPoints mountPoints, KnowsAll knowsAll)
    : entities_{entities},
      limits_{limits},
      readings_{readings},
      mountPoints_{std::move(mountPoints)},
      knowsAll_{std::move(knowsAll)} {}

void Verdicts::handleClock() {
   clock_.timeMinIs(Vorn::System::currentTime() + (followed_ ? intervalWhileFollowed : interval_));
   evaluate();
}

void Verdicts::followedIs(bool followed) {
   followed_ = followed;
   if (followed)
      clock_.timeMinIs(0);
}

void Verdicts::intervalIs(Vorn::Seconds interval) {
   interval_ = interval;
   clock_.timeMinIs(Vorn::System::currentTime() + interval);
}

void Verdicts::evaluate() {
   mounted_.update(*entities_.devices);
   for (auto const & [serial, disk] : entities_.devices->disk)
      evaluatePresent(serial);
   evaluateGone();
}

// Clocks are called at the end of a turn, after the requests. An evaluation that raises does not count.
void Verdicts::evaluateOnce() {
   if (evaluatedInTurn_)
      return;
   turnClock_.timeMinIs(0);
   evaluate();
   evaluatedInTurn_ = true;
}

void Verdicts::evaluatePresent(Pelm::String const & serial) {
   auto const records = recordsOf(serial, entities_, readings_, mountPoints_(), mounted_, tests_);
   disks_->diskIs(serial, verdictOf(serial, records), figuresOf(records));
}

void Verdicts::evaluateGone() {
   std::vector<Pelm::Ptr<ConnectedDisk const>> gone;
   for (auto const & [serial, figures] : disks_->figures)
      if (!entities_.devices->disk.contains(serial))
         gone.push_back(figures->disk);
   for (auto const & disk : gone) {
      DiskRecords records;
      records.disk = disk;
      records.present = false;
      // Its place may have another disk by now, with tests of its own.
      if (mounted_.at(disk->mountPoint()).empty())
         tests_.diskDel(disk->mountPoint());
      if (disk->removable())
         disks_->diskDel(disk->name());
      else
         disks_->diskIs(disk->name(), verdictOf(disk->name(), records), disks_->figures(disk->name()));
   }
}

Pelm::Ptr<DiskVerdict const> Verdicts::verdictOf(Pelm::String const & serial,
                                                 DiskRecords const & records) const {
   auto const before = disks_->verdict(serial);
   Vorn::Seconds const now = Vorn::System::currentTime();
   std::vector<Reason> reasons;
   for (VerdictRule const & rule : verdictRules()) {
      auto const finding = rule.find(records, limits_);
      if (!finding)
         continue;
      Reason const * const earlier = reasonOf(before.get(), rule.code);
      Vorn::Seconds const began = finding->since ? *finding->since - readings_.utcOffset() : now;
      reasons.push_back(
          {rule.code, rule.verdict, reasonText(rule, *finding), earlier ? earlier->since : began});
   }
   Verdict const verdict = reasons.empty() ? Verdict::ok : reasons.front().verdict;
   Vorn::Seconds const since = verdictSince(verdict, reasons, before.get(), now);
   return Pelm::make<DiskVerdict const>(verdict, since, std::move(reasons));
}

UnitVerdict Verdicts::unit() const {
   UnitVerdict unit;
   bool const settled = mountPoints_() != nullptr;
   if (settled)
      for (auto const & [mount, none] : entities_.fruConfig->expectedMounts)
         if (std::string mountPoint = "/mnt/" + mount.str();
             entities_.devices->getDiskMountedAt(mountPoint).empty())
            unit.missing.push_back(std::move(mountPoint));
   std::sort(unit.missing.begin(), unit.missing.end());
   if (!unit.missing.empty())
      unit.verdict = Verdict::warning;
   else if (!settled || !knowsAll_())
      unit.verdict = Verdict::unknown;
   for (auto const & [serial, verdict] : disks_->verdict)
      unit.verdict = std::max(unit.verdict, verdict->verdict());
   return unit;
}

std::size_t Verdicts::forgetAbsent() {
   std::vector<Pelm::String> absent;
   for (auto const & [serial, verdict] : disks_->verdict)
      if (!entities_.devices->disk.contains(serial))
         absent.push_back(serial);
   for (Pelm::String const & serial : absent)
      disks_->diskDel(serial);
   return absent.size();
}

}  // namespace Agent
