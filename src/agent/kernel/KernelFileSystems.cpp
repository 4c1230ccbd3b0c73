#include "agent/kernel/KernelFileSystems.h"

#include <system_error>

namespace Agent {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t mostNames = 64;

// The number of names in the folder, counted up to the bound.
std::size_t sizeOf(fs::path const & folder) {
   std::error_code ignored;
   std::size_t count = 0;
   for (fs::directory_iterator entry{folder, ignored}; entry != fs::directory_iterator{} && count < mostNames;
        entry.increment(ignored))
      ++count;
   return count;
}

bool isName(std::string_view device) {
   return !device.empty() && device.size() < mostNames && device.find('/') == device.npos && device != "." &&
          device != "..";
}

}  // namespace

bool liesOnSeveralDevices(std::string_view device, fs::path const & root) {
   if (!isName(device))
      return false;
   std::error_code ignored;
   std::size_t count = 0;
   for (fs::directory_iterator entry{root, ignored}; entry != fs::directory_iterator{} && count < mostNames;
        entry.increment(ignored), ++count) {
      fs::path const devices = entry->path() / "devices";
      if (fs::exists(fs::symlink_status(devices / device, ignored)))
         return sizeOf(devices) > 1;
   }
   return false;
}

}  // namespace Agent
