#include "demo/ProgramStart.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "base/Spawn.h"

namespace Demo {

namespace {

[[noreturn]] void fail(std::string const & what) {
   throw std::system_error(errno, std::generic_category(), what);
}

// What the child is to become.
struct Image {
   char const * program;
   char * const * arguments;
   char * const * environment;
   int output;
   bool keepsErrors;
   pid_t parent;
};

// Between fork and exec: nothing but system calls, since the test bed has threads. No other start of a
// program can set the signal of the parent's death, which must come first.
[[noreturn]] void become(Image const & image) {
   prctl(PR_SET_PDEATHSIG, SIGTERM);
   if (getppid() != image.parent)
      _exit(0);
   setpgid(0, 0);
   int const nothing = open("/dev/null", O_RDWR);
   dup2(nothing, STDIN_FILENO);
   dup2(image.output, STDOUT_FILENO);
   dup2(image.keepsErrors ? image.output : nothing, STDERR_FILENO);
   signal(SIGPIPE, SIG_DFL);
   sigset_t none;
   sigemptyset(&none);
   sigprocmask(SIG_SETMASK, &none, nullptr);
   execve(image.program, image.arguments, image.environment);
   _exit(127);
}

}  // namespace

StartedProgram startProgram(std::filesystem::path const & program, std::vector<std::string> const & arguments,
                            Environment const & environment, StandardError standardError) {
   if (access(program.c_str(), X_OK) != 0)
      fail("cannot run " + program.string());
   std::vector<std::string> words{program.string()};
   words.insert(words.end(), arguments.begin(), arguments.end());
   auto variables = Base::environmentWith(environment);
   auto const wordPointers = Base::textPointers(words);
   auto const variablePointers = Base::textPointers(variables);
   std::array<int, 2> ends{};
   if (pipe2(ends.data(), O_CLOEXEC) != 0)
      fail("pipe");
   StartedProgram started{-1, Base::UniqueFd{ends[0]}};
   Base::UniqueFd const writer{ends[1]};
   fcntl(ends[0], F_SETFL, O_NONBLOCK);
   auto const parent = getpid();
   started.process = fork();
   if (started.process == 0)
      become({words.front().c_str(), wordPointers.data(), variablePointers.data(), writer.get(),
              standardError == StandardError::withOutput, parent});
   if (started.process < 0)
      fail("fork");
   return started;
}

}  // namespace Demo
