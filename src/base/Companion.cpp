#include "base/Companion.h"

#include <system_error>

#include "base/ProgramSearch.h"

namespace Base {

std::filesystem::path companionProgram(std::initializer_list<char const *> places) {
   std::error_code unknown;
   auto const here = std::filesystem::read_symlink("/proc/self/exe", unknown).parent_path();
   for (char const * const place : places) {
      std::filesystem::path program = (here / place).lexically_normal();
      if (Base::isProgram(program))
         return program;
   }
   return {};
}

}  // namespace Base
