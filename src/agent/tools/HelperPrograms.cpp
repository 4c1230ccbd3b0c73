#include "agent/tools/HelperPrograms.h"

#include <unistd.h>

namespace Agent {

std::filesystem::path helperProgram(Helper helper) {
   std::filesystem::path const here = std::filesystem::read_symlink("/proc/self/exe").parent_path();
   std::filesystem::path const above = here.parent_path();
   std::filesystem::path const installed = above / "libexec/storagedevices";
   bool const isDemo = helper == Helper::demo;
   for (std::filesystem::path const & program :
        {above / (isDemo ? "demo/storagedevices-demo" : "nvme-compat/nvme"),
         installed / (isDemo ? "storagedevices-demo" : "compat/nvme")})
      if (access(program.c_str(), X_OK) == 0)
         return program;
   return {};
}

}  // namespace Agent
