// Starts programs with posix_spawn, which copies no address space: the size of this process does not matter.
#pragma once

#include <sys/types.h>

#include <array>
#include <map>
#include <string>
#include <vector>

namespace Base {

using Variables = std::map<std::string, std::string>;  // by name

// This process's variables as "NAME=value". Those given are added, or replace the ones of their names.
std::vector<std::string> environmentWith(Variables const & given);

// The texts as execve takes them, valid while the texts are: a pointer to each, then a null pointer.
std::vector<char *> textPointers(std::vector<std::string> & texts);

// Like its parent, or with no descriptors beyond the standard streams, default signal dispositions, an empty
// signal mask and a process group of its own.
enum class SpawnAs { likeParent, separate };

// Starts a program. `streams` are the descriptors that become the child's 0, 1 and 2: numbers above 2, the
// stream's own number to keep it, or -1 to close it. Answers 0, or an errno value when there is no child.
int spawn(pid_t & pid, std::string const & program, char * const * arguments, char * const * environment,
          std::array<int, 3> const & streams, SpawnAs as);

}  // namespace Base
