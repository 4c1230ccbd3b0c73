// Starting programs without a copy of the address space and without any signal handler.
//
// A child gets LC_ALL=C, default signal dispositions, an empty signal mask, a process group of its
// own and no descriptor beyond the three it is given.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "runtime/Export.h"
#include "runtime/Pelm/String.h"

namespace Vorn {

// Starts argv[0], looked up on PATH unless it holds a slash. The descriptors become the child's
// standard input, output and error; -1 leaves that one closed. They are taken over: each number is
// closed here, once, whatever comes of it. Answers the process id, or -1 with errno set.
RUNTIME_API pid_t spawnProcess(std::vector<Pelm::String> const & argv, int stdinFd, int stdoutFd,
                               int stderrFd);

// The same, with directories (separated by colons) that are searched before PATH, also by the child
// itself. Empty: PATH alone.
RUNTIME_API pid_t spawnProcess(std::vector<Pelm::String> const & argv, int stdinFd, int stdoutFd,
                               int stderrFd, Pelm::String const & searchFirst);

// Where `spawnProcess` finds a program that is named without a directory, or that name with a directory
// itself; empty when it is nowhere.
RUNTIME_API std::string programPath(std::string const & name, Pelm::String const & searchFirst);

}  // namespace Vorn

namespace Brul {

// What `waitForProcess` answers when the process cannot be waited for (it is no child of ours, or
// the host lets the kernel reap children by itself): no exit code is that large.
constexpr int waitFailed = 256;

// Blocks until the child has ended and reaps it: its exit code, or minus the signal that ended it.
RUNTIME_API int waitForProcess(pid_t pid);

}  // namespace Brul
