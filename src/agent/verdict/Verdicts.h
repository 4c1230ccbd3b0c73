// Evaluates every disk, in one place, for everything that shows a verdict.
//
// The rules are evaluated at each request and every five seconds of framework time by default: every second
// while changes are followed. Changes alone do not suffice. A rule may begin or cease to apply with time (a
// late reading, a day after an error). Neither the readings nor the mount table notify. Requests alone do not
// suffice either: a reason's `since` is at most one such interval late. An evaluation reads records in
// memory, and the mount table for a mount point known to be at fault.
//
// A fixed disk that goes stays with its last figures, absent, until it comes back or is forgotten.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "agent/verdict/DiskFigures.h"
#include "agent/verdict/MountedDisks.h"
#include "agent/verdict/Verdict.h"
#include "agent/verdict/VerdictRules.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/Collection.h"

namespace Agent {

// The published verdicts and figures of the disks.
class DiskVerdicts : public Pelm::Node {
 public:
   // Both by serial number, with the same members.
   Vorn::Collection<Pelm::String, Pelm::Ptr<DiskVerdict const>, DiskVerdicts> verdict{*this, "verdict"};
   Vorn::Collection<Pelm::String, Pelm::Ptr<DiskFigures const>, DiskVerdicts> figures{*this, "figures"};

   // An equal verdict changes nothing, and neither do equal figures.
   void diskIs(Pelm::String const & serial, Pelm::Ptr<DiskVerdict const> const & newVerdict,
               Pelm::Ptr<DiskFigures const> newFigures);
   void diskDel(Pelm::String const & serial);
};

struct UnitVerdict {
   // Of its worst disk. While disks are missing a warning at least; while not all devices are known, unknown
   // at least.
   Verdict verdict = Verdict::ok;
   std::vector<std::string> missing;  // mount points at which a disk is expected and none is connected
};

class Verdicts {
 public:
   // Null until all disks of the unit are identified, or long enough after the start.
   using MountPoints = std::function<StorageDevices::MountPtMonitorManagerSm const *()>;
   // Whether every device is classified and every fixed disk identified. While one is not, the unit may have
   // a disk that no verdict shows.
   using KnowsAll = std::function<bool()>;

   // The arguments must outlive this.
   Verdicts(Entities const & entities, Config::VerdictLimits const & limits, Readings const & readings,
            MountPoints mountPoints, KnowsAll knowsAll);

   void evaluate();
   // The same, once for all requests that are answered in one turn of the loop.
   void evaluateOnce();
   // Whether somebody follows the changes and wants them within a second.
   void followedIs(bool followed);
   // Framework time between two evaluations while nobody follows; infinity: only at requests.
   void intervalIs(Vorn::Seconds interval);

   // As configured now.
   Config::VerdictLimits const & limits() const { return limits_; }
   // As of the latest evaluation.
   DiskVerdicts const & disks() const { return *disks_; }
   FileSystemTests const & fileSystemTests() const { return tests_; }
   MountedDisks const & mountedDisks() const { return mounted_; }
   // Before all disks are identified none is missing.
   UnitVerdict unit() const;

   // Deletes absent disks. Answers their number.
   std::size_t forgetAbsent();

 private:
   void handleClock();
   void handleTurn() { evaluatedInTurn_ = false; }
   void evaluatePresent(Pelm::String const & serial);
   void evaluateGone();
   Pelm::Ptr<DiskVerdict const> verdictOf(Pelm::String const & serial, DiskRecords const & records) const;

   Entities const & entities_;
   Config::VerdictLimits const & limits_;
   Readings const & readings_;
   MountPoints mountPoints_;
   KnowsAll knowsAll_;
   FileSystemTests tests_;
   MountedDisks mounted_;
   bool followed_ = false;
   bool evaluatedInTurn_ = false;
   Vorn::Seconds interval_ = 5;
   Pelm::Ptr<DiskVerdicts> disks_ = Pelm::make<DiskVerdicts>();
   Vorn::Clock::Notifiee<&Verdicts::handleClock> clock_{*this};
   Vorn::Clock::Notifiee<&Verdicts::handleTurn> turnClock_{*this, Vorn::Seconds::infinity()};
};

}  // namespace Agent
