#include "tests/endurance/Apart.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <memory>
#include <system_error>

namespace Endurance {

namespace {

struct Unmap {
   void operator()(double * time) const { munmap(time, sizeof *time); }
};

// Memory that both processes see.
std::unique_ptr<double, Unmap> sharedTime() {
   void * const memory =
       mmap(nullptr, sizeof(double), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
   if (memory == MAP_FAILED)
      throw std::system_error{errno, std::generic_category(), "mmap"};
   return std::unique_ptr<double, Unmap>{static_cast<double *>(memory)};
}

[[noreturn]] void runAndExit(std::function<bool(Progress const &)> const & act, unsigned patience,
                             double * time) {
   int code = EXIT_FAILURE;
   alarm(patience);
   try {
      code = act([time, patience](double reached) {
         *time = reached;
         alarm(patience);
      })
                 ? EXIT_SUCCESS
                 : EXIT_FAILURE;
   } catch (std::exception const & error) {
      std::cout << error.what() << '\n';
   }
   std::cout << std::flush;
   _exit(code);
}

}  // namespace

End runApart(std::function<bool(Progress const & progress)> const & act, unsigned patience) {
   auto const time = sharedTime();
   std::cout << std::flush;
   pid_t const child = fork();
   if (child == 0)
      runAndExit(act, patience, time.get());
   int status = 0;
   if (child < 0 || waitpid(child, &status, 0) != child)
      throw std::system_error{errno, std::generic_category(), "a process for the run"};
   End end{status == 0, {}, *time};
   if (WIFSIGNALED(status))
      end.crash = WTERMSIG(status) == SIGALRM ? "it hangs"
                                              : std::string{"it crashed: "} + strsignal(WTERMSIG(status));
   return end;
}

}  // namespace Endurance
