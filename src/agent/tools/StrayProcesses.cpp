#include "agent/tools/StrayProcesses.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <utility>

#include "agent/tools/ChildList.h"
#include "base/UniqueFd.h"
#include "runtime/host/TimeSource.h"

namespace Agent {

namespace {

// Real time. The children of a killed process are adopted only then. Those of a run that was dropped with
// its disk appear without a notification.
constexpr Vorn::Seconds nextGeneration = 0.1;
constexpr Vorn::Seconds withChildren = 5;
constexpr Vorn::Seconds withoutChildren = 60;
constexpr Vorn::Seconds lastPatience = 0.25;

int watch(pid_t pid) {
   return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
}

// Whether the process has ended and was reaped.
bool isReaped(pid_t pid) {
   return waitpid(pid, nullptr, WNOHANG) != 0;
}

void awaitDeath(pid_t pid, Vorn::Seconds patience) {
   Base::UniqueFd const process{watch(pid)};
   pollfd died{process.get(), POLLIN, 0};
   poll(&died, 1, static_cast<int>(patience.value() * 1e3));
}

}  // namespace

StrayProcesses::StrayProcesses(Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker)
    : tracker_{std::move(tracker)}, clock_{*this} {
   prctl(PR_SET_CHILD_SUBREAPER, 1);
   reactor_.notifierIs(tracker_);
   reactor_.on<&StrayProcesses::sweep>(tracker_->finishedRun, *this);
   reactor_.hasNotificationActiveIs(true);
}

StrayProcesses::~StrayProcesses() {
   Vorn::Seconds const deadline = Vorn::Host::monotonicSeconds() + lastPatience;
   for (auto left = children(); !left.empty(); left = children()) {
      for (Child const & child : left)
         kill(child.pid, SIGKILL);
      awaitDeath(left.front().pid, std::max(deadline - Vorn::Host::monotonicSeconds(), Vorn::Seconds{}));
      std::erase_if(left, [](Child const & child) { return isReaped(child.pid); });
      if (Vorn::Host::monotonicSeconds() >= deadline)
         return;
   }
}

void StrayProcesses::sweep() {
   sweepWithin(withChildren);  // armed first, since the rest may find no memory
   std::vector<Child> strays = children();
   if (strays.empty())
      sweepWithin(withoutChildren);
   auto const isOfTracker = [this](Child const & child) {
      return tracker_->isRunning(child.pid) || tracker_->isOrphan(child.pid);
   };
   auto const firstStray = std::partition(strays.begin(), strays.end(), isOfTracker);
   std::vector<Child> runs{strays.begin(), firstStray};
   std::erase_if(runs, [this](Child const & run) { return !tracker_->isRunning(run.pid); });
   strays.erase(strays.begin(), firstStray);
   bool killed = false;
   for (Child const & stray : strays) {
      bool const mayBeOfARun = std::any_of(
          runs.begin(), runs.end(), [&stray](Child const & run) { return run.started <= stray.started; });
      if (isReaped(stray.pid) || mayBeOfARun)
         continue;
      killed = true;
      kill(stray.pid, SIGKILL);
      if (int const pidfd = watch(stray.pid); pidfd >= 0)
         tracker_->orphanIs(stray.pid, pidfd);
   }
   if (killed)
      sweepWithin(nextGeneration);
}

void StrayProcesses::sweepWithin(Vorn::Seconds span) {
   clock_.timeMinIs(Vorn::System::currentTime() + Vorn::Host::timeSource().spanOf(span));
}

}  // namespace Agent
