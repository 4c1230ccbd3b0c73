#include "nvme-compat/RealTool.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string_view>
#include <system_error>

#include "base/ProgramSearch.h"
#include "base/Spawn.h"

namespace NvmeCompat {

namespace {

[[noreturn]] void fail(int error, std::string const & what) {
   throw std::system_error(error, std::generic_category(), what);
}

bool isThisProgram(std::string const & path) {
   struct stat self {};
   struct stat other {};
   return stat("/proc/self/exe", &self) == 0 && stat(path.c_str(), &other) == 0 &&
          self.st_dev == other.st_dev && self.st_ino == other.st_ino;
}

std::size_t readSome(int fd, char * into, std::size_t size) {
   for (;;) {
      ssize_t const count = read(fd, into, size);
      if (count >= 0)
         return static_cast<std::size_t>(count);
      if (errno != EINTR)
         fail(errno, "reading what nvme prints");
   }
}

void printSome(std::string_view text) {
   while (!text.empty()) {
      ssize_t const count = write(STDOUT_FILENO, text.data(), text.size());
      if (count >= 0)
         text.remove_prefix(static_cast<std::size_t>(count));
      else if (errno != EINTR)
         fail(errno, "standard output");
   }
}

// The tool's process has dumped its core already.
[[noreturn]] void dieOf(int signal) {
   rlimit const none{0, 0};
   setrlimit(RLIMIT_CORE, &none);
   struct sigaction action {};
   action.sa_handler = SIG_DFL;
   sigaction(signal, &action, nullptr);
   sigset_t only;
   sigemptyset(&only);
   sigaddset(&only, signal);
   sigprocmask(SIG_UNBLOCK, &only, nullptr);
   raise(signal);
   std::exit(128 + signal);
}

}  // namespace

std::string findRealTool(std::string const & name, std::string const & searchPath) {
   auto const programs = Base::programsOnPath(name, searchPath);
   auto const behindSelf = std::find_if(programs.rbegin(), programs.rend(), isThisProgram).base();
   auto const found = std::find_if(behindSelf, programs.end(), Base::isProgram);
   return found == programs.end() ? std::string() : *found;
}

ToolRun::ToolRun(std::string const & program, char ** argv) {
   std::array<int, 2> ends{};
   if (pipe2(ends.data(), O_CLOEXEC) != 0)
      fail(errno, "a pipe for " + program);
   int const error = Base::spawn(pid_, program, argv, environ, {STDIN_FILENO, ends[1], STDERR_FILENO},
                                 Base::SpawnAs::likeParent);
   close(ends[1]);
   output_.reset(ends[0]);
   if (error != 0)
      fail(error, program);
}

std::string ToolRun::output(std::size_t limit) {
   std::string text;
   std::array<char, 65536> buffer;  // NOLINT(*-member-init): read before it is used
   while (text.size() <= limit) {
      std::size_t const count = readSome(output_.get(), buffer.data(), buffer.size());
      if (count == 0)
         break;
      text.append(buffer.data(), count);
   }
   return text;
}

void ToolRun::passOutput() {
   std::array<char, 65536> buffer;  // NOLINT(*-member-init): read before it is used
   while (std::size_t const count = readSome(output_.get(), buffer.data(), buffer.size()))
      printSome({buffer.data(), count});
}

bool ToolRun::succeeded() {
   int status = 0;
   while (!status_)
      if (waitpid(pid_, &status, 0) == pid_)
         status_ = status;
      else if (errno != EINTR)
         fail(errno, "waiting for nvme");
   return WIFEXITED(*status_) && WEXITSTATUS(*status_) == 0;
}

void ToolRun::endAlike(int instead) {
   if (succeeded())
      std::exit(instead);
   if (WIFSIGNALED(*status_))
      dieOf(WTERMSIG(*status_));
   std::exit(WEXITSTATUS(*status_));
}

void print(std::string const & text) {
   printSome(text);
}

}  // namespace NvmeCompat
