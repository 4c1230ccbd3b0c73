#include "agent/ToolSearch.h"

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "agent/Text.h"

namespace Agent {

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

bool isProgram(std::string const & path) {
   std::error_code error;
   return std::filesystem::is_regular_file(path, error) && access(path.c_str(), X_OK) == 0;
}

}  // namespace

std::string findTool(std::string const & name, std::string const & searchPath) {
   std::string_view rest = searchPath;
   while (!rest.empty()) {
      std::size_t const end = std::min(rest.find(':'), rest.size());
      std::string path = std::string{rest.substr(0, end)}.append("/").append(name);
      if (end > 0 && isProgram(path))
         return path;
      rest.remove_prefix(std::min(end + 1, rest.size()));
   }
   return {};
}

std::string toolsText(std::string const & searchPath) {
   std::string text;
   for (Tool const & tool : tools) {
      std::string const path = findTool(tool.name, searchPath);
      text.append(tool.name).append(": ");
      if (path.empty())
         text.append("neither on tools.path nor on PATH: ").append(tool.without).append("\n");
      else
         text.append(escaped(path)).append("\n");
   }
   return text;
}

}  // namespace Agent
