#include "base/Companion.h"

#include <unistd.h>

#include <system_error>

namespace Agent {

std::filesystem::path companionProgram(std::initializer_list<char const *> places) {
   std::error_code unknown;
   auto const here = std::filesystem::read_symlink("/proc/self/exe", unknown).parent_path();
   for (char const * const place : places) {
      std::filesystem::path program = (here / place).lexically_normal();
      if (std::filesystem::is_regular_file(program, unknown) && access(program.c_str(), X_OK) == 0)
         return program;
   }
   return {};
}

}  // namespace Agent
