// Runs the program as an operator does.
#pragma once

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <memory>
#include <string>

struct Output {
   int exitCode;
   std::string text;  // of both standard output and error
};

// Runs a command of the shell.
inline Output shell(std::string const & command) {
   std::unique_ptr<FILE, int (*)(FILE *)> pipe{popen((command + " 2>&1").c_str(), "r"),
                                               [](FILE *) { return 0; }};
   std::string text;
   std::array<char, 4096> buffer{};
   for (std::size_t count = 0; (count = std::fread(buffer.data(), 1, buffer.size(), pipe.get())) > 0;)
      text.append(buffer.data(), count);
   int const status = pclose(pipe.release());
   return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text};
}

inline Output runProgram(std::string const & arguments, std::string const & runner = "") {
   return shell(runner + AGENT_PROGRAM + " " + arguments);
}
