// A child process group: starts it, watches it through a pidfd, kills and reaps it.
// Used by PipedChildProcessSm alone.
#pragma once

#include <sys/types.h>

#include <vector>

#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Pelm/String.h"

namespace Brul {

class VORN_API ChildProcess {
 public:
   ChildProcess() = default;
   ChildProcess(ChildProcess const &) = delete;
   ChildProcess & operator=(ChildProcess const &) = delete;
   // A started child must have been passed to `abandon` or `reap` before.
   ~ChildProcess() = default;

   // Starts the command with /dev/null as standard input. Takes ownership of the other descriptors; -1 stands
   // for /dev/null. False, with errno set, on failure: then no child exists, and they are closed.
   bool start(std::vector<Pelm::String> const & argv, Pelm::String const & searchFirst, int stdoutFd,
              int stderrFd);

   bool exists() const { return pid_ > 0; }
   // -1: none.
   pid_t pid() const { return pid_; }
   // Readable when the child has ended; -1: none.
   int pidfd() const { return pidfd_; }

   // Sends a signal to the whole group. The child is not reaped yet, so its number is not reused.
   void signalGroup(int signal) const;

   // Reaps the child: its exit code, or minus its signal. Blocks until it has ended, so call it when `pidfd`
   // is readable.
   int reap();

   // Kills the group and leaves the reaping to the tracker (see ChildProcessTrackerSm::orphanIs).
   void abandon(ChildProcessTrackerSm & tracker, std::vector<Pelm::String> command = {});

 private:
   pid_t pid_ = -1;
   int pidfd_ = -1;
};

}  // namespace Brul
