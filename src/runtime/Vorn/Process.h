// Starts programs without a copy of the address space and without any signal handler.
//
// A child gets LC_ALL=C, default signal dispositions, an empty signal mask, a process group of its
// own and no descriptor beyond these three.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "runtime/Export.h"
#include "runtime/Pelm/String.h"

namespace Vorn {

// Starts argv[0], searched on PATH unless it contains a slash. The descriptors become the child's standard
// input, output and error; -1 leaves that one closed. Takes ownership of them: each number is closed here,
// once, on failure too. Answers the process id, or -1 with errno set.
VORN_API pid_t spawnProcess(std::vector<Pelm::String> const & argv, int stdinFd, int stdoutFd, int stderrFd);

// The same; `searchFirst` has directories, separated by colons, that are searched before PATH, by the child
// too. Empty: only PATH.
VORN_API pid_t spawnProcess(std::vector<Pelm::String> const & argv, int stdinFd, int stdoutFd, int stderrFd,
                            Pelm::String const & searchFirst);

// The path of the program that `spawnProcess` finds for a name; a name with a slash itself. Empty when there
// is none.
VORN_API std::string programPath(std::string const & name, Pelm::String const & searchFirst);

}  // namespace Vorn

namespace Brul {

// The answer of `waitForProcess` when waiting is impossible: the process is no child, or the host ignores
// SIGCHLD. No exit code is that large.
constexpr int waitFailed = 256;

// Blocks until the child has ended and reaps it: its exit code, or minus the signal that ended it.
VORN_API int waitForProcess(pid_t pid);

}  // namespace Brul
