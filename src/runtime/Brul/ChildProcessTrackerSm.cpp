#include "runtime/Brul/ChildProcessTrackerSm.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <utility>

#include "runtime/Vorn/ActivityManager.h"
#include "runtime/Vorn/FileDescriptor.h"
#include "runtime/Vorn/Notifiee.h"

namespace Brul {

class ChildProcessTrackerSm::Orphan {
 public:
   Orphan(ChildProcessTrackerSm & tracker, pid_t pid, int pidfd, std::vector<Pelm::String> command)
       : tracker_{tracker},
         pid_{pid},
         command_{std::move(command)},
         exit_{Pelm::make<Vorn::FileDescriptor>("orphan")} {
      Vorn::activityManager().outsideWorkInc(1);
      exit_->descriptorIs(pidfd);
      reactor_.notifierIs(exit_);
      reactor_.on<&Orphan::handleExit>(exit_->readableCount, *this);
      reactor_.hasNotificationActiveIs(true);
      exit_->notifyOnReadableIs(true);
   }
   Orphan(Orphan const &) = delete;
   Orphan & operator=(Orphan const &) = delete;

   // init reaps a child that has not died yet.
   ~Orphan() {
      Vorn::activityManager().outsideWorkInc(-1);
      int const pidfd = exit_->descriptor();
      exit_->descriptorIs(-1);
      reap();
      close(pidfd);
   }

   // Waits for its death; answers whether it has died.
   bool awaitDeath(int patienceMs) const {
      pollfd died{exit_->descriptor(), POLLIN, 0};
      return poll(&died, 1, patienceMs) > 0;
   }

   pid_t pid() const { return pid_; }
   std::vector<Pelm::String> const & command() const { return command_; }

 private:
   void handleExit() { tracker_.orphanDel(*this); }

   void reap() const {
      siginfo_t info{};
      waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG);
   }

   ChildProcessTrackerSm & tracker_;
   pid_t pid_;
   std::vector<Pelm::String> command_;
   Pelm::Ptr<Vorn::FileDescriptor> exit_;
   Vorn::NotifieeConst reactor_;
};

ChildProcessTrackerSm::ChildProcessTrackerSm() = default;

ChildProcessTrackerSm::~ChildProcessTrackerSm() {
   // They have been killed, so they die at once, except those that are stuck in the kernel.
   using namespace std::chrono;
   auto const deadline = steady_clock::now() + milliseconds{200};
   for (auto const & orphan : orphans_) {
      auto const left = duration_cast<milliseconds>(deadline - steady_clock::now()).count();
      orphan->awaitDeath(static_cast<int>(std::max<std::int64_t>(left, 0)));
   }
}

void ChildProcessTrackerSm::finishedRunIs(Pelm::Ptr<FinishedRun const> run) {
   finishedRun.valueIs(std::move(run));
}

bool ChildProcessTrackerSm::isFailure(Pelm::String const & program, int exitCode) const {
   if (exitCode <= 0)
      return exitCode < 0;
   return !failurePolicy_ || failurePolicy_(program, exitCode);
}

std::optional<SubstitutedRun> ChildProcessTrackerSm::substituted(
    std::vector<Pelm::String> const & argv) const {
   return substitute_ ? substitute_(argv) : std::nullopt;
}

void ChildProcessTrackerSm::orphanIs(pid_t pid, int pidfd, std::vector<Pelm::String> command) {
   runningDel(pid);
   orphans_.push_back(std::make_unique<Orphan>(*this, pid, pidfd, std::move(command)));
}

bool ChildProcessTrackerSm::isOrphan(pid_t pid) const {
   return std::any_of(orphans_.begin(), orphans_.end(),
                      [pid](auto const & orphan) { return orphan->pid() == pid; });
}

bool ChildProcessTrackerSm::hasStuckRun(std::vector<Pelm::String> const & command) const {
   return std::any_of(orphans_.begin(), orphans_.end(), [&](auto const & orphan) {
      return !command.empty() && orphan->command() == command && !orphan->awaitDeath(0);
   });
}

void ChildProcessTrackerSm::orphanDel(Orphan const & orphan) {
   std::erase_if(orphans_, [&](auto const & candidate) { return candidate.get() == &orphan; });
}

}  // namespace Brul
