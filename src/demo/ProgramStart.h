// Starts a child that cannot outlive the demo.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

#include "base/Spawn.h"
#include "base/UniqueFd.h"

namespace Demo {

// Variables that are added to those of this process, or replace them.
using Environment = Base::Variables;

struct StartedProgram {
   pid_t process = -1;
   Base::UniqueFd output;  // nonblocking
};

enum class StandardError { withOutput, dropped };

// The child is in a process group of its own, begins with no blocked signals and reads nothing. It gets
// SIGTERM when this process ends in whatever way. Throws std::system_error; a file that turns out to be no
// program shows as one that ends with code 127.
StartedProgram startProgram(std::filesystem::path const & program, std::vector<std::string> const & arguments,
                            Environment const & environment, StandardError standardError);

}  // namespace Demo
