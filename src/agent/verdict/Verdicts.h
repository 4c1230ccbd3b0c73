// Judges every disk, in one place, for all who show a verdict.
//
// The rules are evaluated once a second of framework time and when somebody asks. Not at changes alone: a
// rule may begin or cease to hold with time (a late reading, a day after an error), and neither the readings
// nor the mount table notify anybody. Nor when somebody asks alone: the time since when a reason holds is
// right to the second. An evaluation reads records in memory, and the mount table of a mount point known to
// be at fault.
//
// A fixed disk that goes stays with its last figures, absent, until it comes back or is forgotten.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "agent/verdict/DiskFigures.h"
#include "agent/verdict/Verdict.h"
#include "agent/verdict/VerdictRules.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/Collection.h"

namespace Agent {

// What is published of the disks.
class DiskVerdicts : public Pelm::Node {
 public:
   // Both by serial number, with the same members.
   Vorn::Collection<Pelm::String, Pelm::Ptr<DiskVerdict const>, DiskVerdicts> verdict{*this, "verdict"};
   Vorn::Collection<Pelm::String, Pelm::Ptr<DiskFigures const>, DiskVerdicts> figures{*this, "figures"};

   // A verdict that is equal to the one there changes nothing.
   void diskIs(Pelm::String const & serial, Pelm::Ptr<DiskVerdict const> const & newVerdict,
               Pelm::Ptr<DiskFigures const> newFigures);
   void diskDel(Pelm::String const & serial);
};

struct UnitVerdict {
   Verdict verdict = Verdict::ok;     // of its worst disk; while disks are missing a warning at least
   std::vector<std::string> missing;  // mount points at which a disk is expected and none is connected
};

class Verdicts {
 public:
   // Null until all disks of the unit are identified, or long enough after the start.
   using MountPoints = std::function<StorageDevices::MountPtMonitorManagerSm const *()>;

   // What is referred to must outlive this.
   Verdicts(Entities const & entities, Config::Verdict const & limits, Readings const & readings,
            MountPoints mountPoints);

   void evaluate();

   // As of the latest evaluation.
   DiskVerdicts const & disks() const { return *disks_; }
   // Before all disks are identified none is missing, and the unit is not known to be in order.
   UnitVerdict unit() const;

   // Absent disks go; how many.
   std::size_t forgetAbsent();

 private:
   void handleClock();
   void evaluatePresent(Pelm::String const & serial);
   void evaluateGone();
   Pelm::Ptr<DiskVerdict const> judge(Pelm::String const & serial, DiskRecords const & records) const;

   Entities const & entities_;
   Config::Verdict const & limits_;
   Readings const & readings_;
   MountPoints mountPoints_;
   FileSystemTests tests_;
   Pelm::Ptr<DiskVerdicts> disks_ = Pelm::make<DiskVerdicts>();
   Vorn::Clock::Notifiee<&Verdicts::handleClock> clock_{*this};
};

}  // namespace Agent
