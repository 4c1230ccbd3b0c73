#include "command/machine/ToolSearch.h"

#include "base/Text.h"
#include "runtime/Vorn/Process.h"

namespace Command {

namespace {

struct Tool {
   char const * name;
   char const * without;
};

constexpr Tool tools[] = {
    {"hdparm", "SATA disks stay unidentified"},
    {"nvme", "NVMe drives stay unidentified and their smart log is not read"},
    {"smartctl", "the SMART data of SATA, NVMe and USB disks is not read"},
};

}  // namespace

std::string toolsText(std::string const & toolPath) {
   std::string text;
   for (Tool const & tool : tools) {
      std::string const path = Vorn::programPath(tool.name, Pelm::String{toolPath});
      text.append(tool.name).append(": ");
      if (path.empty())
         text.append("neither on tools.path nor on PATH: ").append(tool.without).append("\n");
      else
         text.append(Base::escaped(path)).append("\n");
   }
   return text;
}

}  // namespace Command
