// Programs that come with the agent and are not for an operator to call.
#pragma once

#include <filesystem>

namespace Agent {

enum class Helper {
   demo,        // tells the story of a simulated unit
   nvmeFilter,  // named `nvme`, alone in its folder: stands before the real one on the tools' path
};

// In the build that this program is of or, installed, in libexec. Empty when it is in neither.
std::filesystem::path helperProgram(Helper helper);

}  // namespace Agent
