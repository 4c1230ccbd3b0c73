#include "base/Companion.h"

#include <system_error>

#include "base/ProgramSearch.h"

namespace Base {

std::filesystem::path programBelow(std::filesystem::path const & folder,
                                   std::initializer_list<char const *> places) {
   if (folder.empty())
      return {};
   for (char const * const place : places) {
      std::filesystem::path program = (folder / place).lexically_normal();
      if (isProgram(program))
         return program;
   }
   return {};
}

std::filesystem::path companionProgram(std::initializer_list<char const *> places) {
   std::error_code unknown;
   return programBelow(std::filesystem::read_symlink("/proc/self/exe", unknown).parent_path(), places);
}

}  // namespace Base
