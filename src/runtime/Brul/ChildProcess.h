// A child process group seen from outside: started, watched through a pidfd, killed, reaped.
// Used by PipedChildProcessSm alone.
#pragma once

#include <sys/types.h>

#include <vector>

#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Pelm/String.h"

namespace Brul {

class RUNTIME_API ChildProcess {
 public:
   ChildProcess() = default;
   ChildProcess(ChildProcess const &) = delete;
   ChildProcess & operator=(ChildProcess const &) = delete;
   // `abandon` or `reap` has been called for a child that was started.
   ~ChildProcess() = default;

   // Standard input is /dev/null; the others are taken over, -1 stands for /dev/null. False with errno set.
   bool start(std::vector<Pelm::String> const & argv, Pelm::String const & searchFirst, int stdoutFd,
              int stderrFd);

   bool exists() const { return pid_ > 0; }
   // -1 when there is none.
   pid_t pid() const { return pid_; }
   // Readable when the child has ended; -1 when there is none.
   int pidfd() const { return pidfd_; }

   // Sends a signal to the whole group. The child is not reaped yet, so its number is still its own.
   void signalGroup(int signal) const;

   // For an ended child: its exit code, or minus its signal; nothing is left of it.
   int reap();

   // Kills the group and leaves the reaping to the tracker (see ChildProcessTrackerSm::orphanIs).
   void abandon(ChildProcessTrackerSm & tracker, std::vector<Pelm::String> command = {});

 private:
   pid_t pid_ = -1;
   int pidfd_ = -1;
};

}  // namespace Brul
