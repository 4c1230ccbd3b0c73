#include "runtime/Vorn/Process.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>

#include "base/ProgramSearch.h"
#include "base/Spawn.h"
#include "runtime/Vorn/BlockingCall.h"

namespace Vorn {

namespace {

constexpr int firstFreeFd = 3;

// The descriptors that become a child's 0, 1 and 2. Numbers below 3 are duplicated to higher ones first, so
// that no assignment overwrites another.
class ChildFds {
 public:
   ChildFds(int in, int out, int err) : given_{in, out, err}, placed_{given_} {}
   ChildFds(ChildFds const &) = delete;
   ChildFds & operator=(ChildFds const &) = delete;

   ~ChildFds() {
      for (std::size_t i = 0; i < placed_.size(); ++i)
         if (placed_[i] != given_[i])
            close(placed_[i]);
      std::sort(given_.begin(), given_.end());
      auto const last = std::unique(given_.begin(), given_.end());
      for (auto fd = given_.begin(); fd != last; ++fd)
         if (*fd >= 0)
            close(*fd);
   }

   bool moveUp() {
      for (int & fd : placed_)
         if (fd >= 0 && fd < firstFreeFd && (fd = fcntl(fd, F_DUPFD_CLOEXEC, firstFreeFd)) < 0)
            return false;
      return true;
   }

   std::array<int, 3> const & placed() const { return placed_; }

 private:
   std::array<int, 3> given_;
   std::array<int, 3> placed_;
};

std::string searchPath(Pelm::String const & searchFirst) {
   char const * const inherited = std::getenv("PATH");
   std::string path = searchFirst.str();
   if (!path.empty())
      path += ':';
   return path + (inherited ? inherited : "/usr/sbin:/usr/bin:/sbin:/bin");
}

int spawn(pid_t & pid, std::string const & program, std::vector<std::string> & argv, std::string const & path,
          ChildFds const & fds) {
   std::vector<std::string> environment = Base::environmentWith({{"LC_ALL", "C"}, {"PATH", path}});
   BlockingCall const call{"start", program};  // until the kernel has read the program's beginning
   return Base::spawn(pid, program, Base::textPointers(argv).data(), Base::textPointers(environment).data(),
                      fds.placed(), Base::SpawnAs::separate);
}

}  // namespace

pid_t spawnProcess(std::vector<Pelm::String> const & argv, int stdinFd, int stdoutFd, int stderrFd) {
   return spawnProcess(argv, stdinFd, stdoutFd, stderrFd, {});
}

pid_t spawnProcess(std::vector<Pelm::String> const & argv, int stdinFd, int stdoutFd, int stderrFd,
                   Pelm::String const & searchFirst) {
   int error = ENOENT;
   pid_t pid = -1;
   {
      ChildFds fds{stdinFd, stdoutFd, stderrFd};
      std::string const path = searchPath(searchFirst);
      std::vector<std::string> arguments;
      arguments.reserve(argv.size());
      for (Pelm::String const & argument : argv)
         arguments.push_back(argument.str());
      std::string const program = argv.empty() ? std::string{} : Base::findProgram(arguments.front(), path);
      if (!program.empty())
         error = fds.moveUp() ? spawn(pid, program, arguments, path, fds) : errno;
   }
   if (error == 0)
      return pid;
   errno = error;
   return -1;
}

std::string programPath(std::string const & name, Pelm::String const & searchFirst) {
   return Base::findProgram(name, searchPath(searchFirst));
}

}  // namespace Vorn

namespace Brul {

int waitForProcess(pid_t pid) {
   siginfo_t info{};
   while (waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED) != 0)
      if (errno != EINTR)
         return waitFailed;
   return info.si_code == CLD_EXITED ? info.si_status : -info.si_status;
}

}  // namespace Brul
