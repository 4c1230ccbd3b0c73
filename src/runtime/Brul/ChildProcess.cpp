#include "runtime/Brul/ChildProcess.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <utility>

#include "runtime/Vorn/Process.h"

namespace Brul {

namespace {

int devNull(int flags) {
   return open("/dev/null", flags | O_CLOEXEC);
}

void closeAll(std::array<int, 3> const & fds) {
   for (int const fd : fds)
      if (fd >= 0)
         close(fd);
}

}  // namespace

bool ChildProcess::start(std::vector<Pelm::String> const & argv, Pelm::String const & searchFirst,
                         int stdoutFd, int stderrFd) {
   std::array<int, 3> const fds{devNull(O_RDONLY), stdoutFd >= 0 ? stdoutFd : devNull(O_WRONLY),
                                stderrFd >= 0 ? stderrFd : devNull(O_WRONLY)};
   if (std::find(fds.begin(), fds.end(), -1) != fds.end()) {
      // Without standard descriptors a program would write into the first file that it opens.
      int const error = errno;
      closeAll(fds);
      errno = error;
      return false;
   }
   pid_ = Vorn::spawnProcess(argv, fds[0], fds[1], fds[2], searchFirst);
   if (pid_ < 0)
      return false;
   pidfd_ = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
   if (pidfd_ >= 0)
      return true;
   // No descriptor is free. A child that cannot be watched is ended.
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
