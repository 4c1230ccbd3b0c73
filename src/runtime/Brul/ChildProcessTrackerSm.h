// The host's view of all child processes: their limits, their ends, and those nobody owns any more.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <set>
#include <vector>

#include "runtime/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/Seconds.h"

namespace Brul {

// One run of a program, told when it is over.
struct FinishedRun : public Pelm::Node {
   std::vector<Pelm::String> argv;
   int exitCode = 0;        // minus the signal that ended it; 127 when it could not be run
   bool failed = false;     // what its owner was told
   bool timedOut = false;   // the time limit ended it
   Pelm::String reason;     // why it could not be run, or for which limit it was ended; else empty
   Vorn::Seconds duration;  // real seconds
};

class RUNTIME_API ChildProcessTrackerSm : public Pelm::Node {
 public:
   // Whether an exit code other than 0 of a program (argv[0]) makes its run a failed one.
   using FailurePolicy = std::function<bool(Pelm::String const & program, int exitCode)>;

   ChildProcessTrackerSm();
   ~ChildProcessTrackerSm() override;

   // Real seconds that a run may take before its process group is terminated, and killed 2 seconds
   // later; such a run has failed. 0: no limit, the default.
   void timeLimitIs(Vorn::Seconds limit) { timeLimit_ = limit; }
   Vorn::Seconds timeLimit() const { return timeLimit_; }

   // By default every exit code but 0 is a failure. A death by signal always is.
   void failurePolicyIs(FailurePolicy policy) { failurePolicy_ = std::move(policy); }
   bool isFailure(Pelm::String const & program, int exitCode) const;

   // Directories, separated by colons, that are searched before PATH. Empty by default.
   void toolPathIs(Pelm::String path) { toolPath_ = std::move(path); }
   Pelm::String const & toolPath() const { return toolPath_; }

   // The latest run that ended; null before the first.
   Vorn::Attribute<Pelm::Ptr<FinishedRun const>, ChildProcessTrackerSm> finishedRun{*this, "finishedRun"};
   void finishedRunIs(Pelm::Ptr<FinishedRun const> run);

   // The processes of the runs that are under way. A host that adopts what a program leaves behind (a child
   // subreaper) knows by them, and by `isOrphan`, which of its children are nobody's.
   void runningIs(pid_t pid) { running_.insert(pid); }
   void runningDel(pid_t pid) { running_.erase(pid); }
   bool isRunning(pid_t pid) const { return running_.contains(pid); }

   // Takes over a killed child whose owner does not wait for it: reaps it when it has died, which
   // may be long after when the kernel holds it. `pidfd` is closed here. `command` is that of a child
   // that outlived its time limit; empty for others.
   void orphanIs(pid_t pid, int pidfd, std::vector<Pelm::String> command = {});
   std::size_t orphans() const { return orphans_.size(); }
   bool isOrphan(pid_t pid) const;
   // Whether a child of that command outlived its time limit and still lives. Another one would end no
   // better, and a dying disk would collect them.
   bool isHeld(std::vector<Pelm::String> const & command) const;

 private:
   class Orphan;
   void orphanDel(Orphan const & orphan);

   Vorn::Seconds timeLimit_ = 0;
   FailurePolicy failurePolicy_;
   Pelm::String toolPath_;
   std::set<pid_t> running_;
   std::vector<std::unique_ptr<Orphan>> orphans_;
};

}  // namespace Brul
