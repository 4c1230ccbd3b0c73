#include "runtime/Vorn/Process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string_view>

#include "base/ProgramSearch.h"
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

   void addTo(posix_spawn_file_actions_t & actions) const {
      for (int target = 0; target < firstFreeFd; ++target)
         if (int const fd = placed_[static_cast<std::size_t>(target)]; fd >= 0)
            posix_spawn_file_actions_adddup2(&actions, fd, target);
         else
            posix_spawn_file_actions_addclose(&actions, target);
      posix_spawn_file_actions_addclosefrom_np(&actions, firstFreeFd);
   }

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

bool names(char const * setting, std::string_view variable) {
   std::string_view const text{setting};
   return text.starts_with(variable) && text.size() > variable.size() && text[variable.size()] == '=';
}

std::vector<std::string> childEnvironment(std::string const & path) {
   std::vector<std::string> settings;
   for (char ** setting = environ; setting && *setting; ++setting)  // null after clearenv()
      if (!names(*setting, "LC_ALL") && !names(*setting, "PATH"))
         settings.emplace_back(*setting);
   settings.emplace_back("LC_ALL=C");
   settings.emplace_back("PATH=" + path);
   return settings;
}

std::vector<char *> pointers(std::vector<std::string> & texts) {
   std::vector<char *> result;
   result.reserve(texts.size() + 1);
   for (std::string & text : texts)
      result.push_back(text.data());
   result.push_back(nullptr);
   return result;
}

class SpawnAttributes {
 public:
   SpawnAttributes() {
      sigset_t all;
      sigset_t none;
      sigfillset(&all);
      sigemptyset(&none);
      posix_spawnattr_init(&attributes_);
      posix_spawnattr_setflags(&attributes_,
                               POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
      posix_spawnattr_setpgroup(&attributes_, 0);
      posix_spawnattr_setsigmask(&attributes_, &none);
      posix_spawnattr_setsigdefault(&attributes_, &all);
   }
   SpawnAttributes(SpawnAttributes const &) = delete;
   SpawnAttributes & operator=(SpawnAttributes const &) = delete;
   ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }

   posix_spawnattr_t const * get() const { return &attributes_; }

 private:
   posix_spawnattr_t attributes_{};
};

int spawn(pid_t & pid, std::string const & program, std::vector<std::string> & argv, std::string const & path,
          ChildFds const & fds) {
   static SpawnAttributes const attributes;
   std::vector<std::string> environment = childEnvironment(path);
   posix_spawn_file_actions_t actions;
   posix_spawn_file_actions_init(&actions);
   fds.addTo(actions);
   // Returns when the kernel has read the beginning of the program from its disk.
   BlockingCall const call{"start", program};
   int const error = posix_spawn(&pid, program.c_str(), &actions, attributes.get(), pointers(argv).data(),
                                 pointers(environment).data());
   posix_spawn_file_actions_destroy(&actions);
   return error;
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
