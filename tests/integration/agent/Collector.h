// A collector of log lines: the program of the journal or of syslog, which ends with its scope.
#pragma once

#include <sys/types.h>
#include <sys/wait.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "demo/ProgramStart.h"

class Collector {
 public:
   // Outside the simulated unit.
   Collector(std::filesystem::path const & program, std::vector<std::string> const & arguments)
       : process_{Demo::startProgram(program, arguments, {{"LD_PRELOAD", ""}}, Demo::StandardError::dropped)
                      .process} {}
   Collector(Collector const &) = delete;
   Collector & operator=(Collector const &) = delete;
   // The end of the agent's tests ends every child, this one too.
   ~Collector() {
      if (waitpid(process_, nullptr, WNOHANG) != 0)
         return;
      kill(process_, SIGKILL);
      waitpid(process_, nullptr, 0);
   }

   // Answers whether the signal was sent.
   bool signal(int number) const { return kill(process_, number) == 0; }

 private:
   pid_t process_;
};
