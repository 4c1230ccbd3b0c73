// The host's view of all child processes: their limits, their results, and the orphans. The host makes one,
// and passes it to every factory that runs tools. A change of a limit or policy applies to runs that start,
// or end, after it.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "runtime/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/Seconds.h"

namespace Brul {

// A completed run of a program.
struct FinishedRun : public Pelm::Node {
   std::vector<Pelm::String> argv;
   int exitCode = 0;        // minus the signal that ended it; 127 when it could not be run
   bool failed = false;     // the result that the owner got
   bool timedOut = false;   // the time limit ended it
   Pelm::String reason;     // why it could not be run, or for which limit it was ended; else empty
   Vorn::Seconds duration;  // real seconds
};

// The outcome of a run that no process makes.
struct SubstitutedRun {
   int exitCode = 0;  // minus the signal that ended it
   std::string standardOutput;
   std::string standardError;
   Vorn::Seconds duration;  // framework time, above 0; infinity: it hangs until the time limit
};

class VORN_API ChildProcessTrackerSm : public Pelm::Node {
 public:
   // Whether a run of a program (argv[0]) with an exit code other than 0 has failed.
   using FailurePolicy = std::function<bool(Pelm::String const & program, int exitCode)>;

   ChildProcessTrackerSm();
   // Waits 0.2 real seconds at most for orphans to die. Those that are stuck are left to init.
   ~ChildProcessTrackerSm() override;

   // Real seconds after which the process group of a run is terminated, and killed 2 seconds later. Such a
   // run has failed. 0, the default: no limit.
   void timeLimitIs(Vorn::Seconds limit) { timeLimit_ = limit; }
   Vorn::Seconds timeLimit() const { return timeLimit_; }

   // By default every exit code except 0 is a failure. A death by signal always is.
   void failurePolicyIs(FailurePolicy policy) { failurePolicy_ = std::move(policy); }
   bool isFailure(Pelm::String const & program, int exitCode) const;

   // Runs for which the function answers an outcome start no process, for simulations of years. Limits and
   // policies apply to them too. Null, the default: every run starts one.
   using Substitute = std::function<std::optional<SubstitutedRun>(std::vector<Pelm::String> const & argv)>;
   void substituteIs(Substitute substitute) { substitute_ = std::move(substitute); }
   std::optional<SubstitutedRun> substituted(std::vector<Pelm::String> const & argv) const;

   // Directories, separated by colons, that are searched before PATH. Empty by default.
   void toolPathIs(Pelm::String path) { toolPath_ = std::move(path); }
   Pelm::String const & toolPath() const { return toolPath_; }

   // The latest run that ended; null before the first.
   Vorn::Attribute<Pelm::Ptr<FinishedRun const>, ChildProcessTrackerSm> finishedRun{*this, "finishedRun"};
   void finishedRunIs(Pelm::Ptr<FinishedRun const> run);

   // The processes of the runs in flight. A host that is a child subreaper needs them, and `isOrphan`, to
   // find its stray children.
   void runningIs(pid_t pid) { running_.insert(pid); }
   void runningDel(pid_t pid) { running_.erase(pid); }
   bool isRunning(pid_t pid) const { return running_.contains(pid); }

   // Takes over a killed child whose owner does not wait for it, and reaps it when it has died. A child stuck
   // in the kernel may die much later. Closes `pidfd`. `command` is that of a child that outlived its time
   // limit; empty for others.
   void orphanIs(pid_t pid, int pidfd, std::vector<Pelm::String> command = {});
   std::size_t orphans() const { return orphans_.size(); }
   bool isOrphan(pid_t pid) const;
   // Whether a child of that command outlived its time limit and still exists. Another run would get stuck
   // too, and such children would accumulate on a failing disk.
   bool hasStuckRun(std::vector<Pelm::String> const & command) const;

 private:
   class Orphan;
   void orphanDel(Orphan const & orphan);

   Vorn::Seconds timeLimit_ = 0;
   FailurePolicy failurePolicy_;
   Substitute substitute_;
   Pelm::String toolPath_;
   std::set<pid_t> running_;
   std::vector<std::unique_ptr<Orphan>> orphans_;
};

}  // namespace Brul
