#include "runtime/Brul/ChildProcess.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <utility>

#include "runtime/Vorn/Process.h"

namespace Brul {

namespace {

int devNull(int flags) {
   return open("/dev/null", flags | O_CLOEXEC);
}

}  // namespace

bool ChildProcess::start(std::vector<Pelm::String> const & argv, Pelm::String const & searchFirst,
                         int stdoutFd, int stderrFd) {
   int const out = stdoutFd >= 0 ? stdoutFd : devNull(O_WRONLY);
   int const err = stderrFd >= 0 ? stderrFd : devNull(O_WRONLY);
   pid_ = Vorn::spawnProcess(argv, devNull(O_RDONLY), out, err, searchFirst);
   if (pid_ < 0)
      return false;
   pidfd_ = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
   if (pidfd_ >= 0)
      return true;
   // Out of descriptors: a child that cannot be watched is of no use.
   int const error = errno;
   signalGroup(SIGKILL);
   waitForProcess(std::exchange(pid_, -1));
   errno = error;
   return false;
}

void ChildProcess::signalGroup(int signal) const {
   if (exists())
      kill(-pid_, signal);
}

int ChildProcess::reap() {
   int const status = waitForProcess(std::exchange(pid_, -1));
   close(std::exchange(pidfd_, -1));
   return status;
}

void ChildProcess::abandon(ChildProcessTrackerSm & tracker, std::vector<Pelm::String> command) {
   if (!exists())
      return;
   signalGroup(SIGKILL);
   tracker.orphanIs(std::exchange(pid_, -1), std::exchange(pidfd_, -1), std::move(command));
}

}  // namespace Brul
