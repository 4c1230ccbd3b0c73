#include "agent/HelperPrograms.h"

#include <unistd.h>

namespace Agent {

std::filesystem::path helperProgram(Helper helper) {
   std::filesystem::path const here = std::filesystem::read_symlink("/proc/self/exe").parent_path();
   std::filesystem::path const installed = here.parent_path() / "libexec/storagedevices";
   bool const isDemo = helper == Helper::demo;
   for (std::filesystem::path const & program :
        {here / (isDemo ? "demo/storagedevices-demo" : "compat/nvme"),
         installed / (isDemo ? "storagedevices-demo" : "compat/nvme")})
      if (access(program.c_str(), X_OK) == 0)
         return program;
   return {};
}

}  // namespace Agent
