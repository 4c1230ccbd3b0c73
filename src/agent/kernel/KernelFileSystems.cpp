#include "agent/kernel/KernelFileSystems.h"

#include <algorithm>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

#include "base/MountInfo.h"

namespace Agent {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t mostNames = 64;

// The names in the folder, up to the bound.
std::vector<std::string> namesIn(fs::path const & folder) {
   std::error_code ignored;
   std::vector<std::string> names;
   for (fs::directory_iterator entry{folder, ignored};
        entry != fs::directory_iterator{} && names.size() < mostNames; entry.increment(ignored))
      names.push_back(entry->path().filename());
   return names;
}

bool hasEntry(fs::path const & entry) {
   std::error_code ignored;
   return fs::exists(fs::symlink_status(entry, ignored));
}

bool isName(std::string_view device) {
   return !device.empty() && device.size() < mostNames && device.find('/') == device.npos && device != "." &&
          device != "..";
}

bool isBtrfsOnSeveral(std::string_view device, fs::path const & fileSystems) {
   for (std::string const & name : namesIn(fileSystems)) {
      fs::path const devices = fileSystems / name / "devices";
      if (hasEntry(devices / device))
         return namesIn(devices).size() > 1;
   }
   return false;
}

bool isXfsOnSeveral(std::string_view device, fs::path const & root) {
   std::string text;
   std::ifstream{root / "sys/class/block" / device / "dev"} >> text;
   auto const number = Base::parseDeviceNumber(text);
   std::ifstream table{root / "proc/self/mountinfo"};
   for (std::string line; number && std::getline(table, line);) {
      auto const mount = Base::parseMountInfo(line);
      if (mount && mount->number == *number && (mount->has("logdev") || mount->has("rtdev")))
         return true;
   }
   return false;
}

// The journal of an ext4 has the device's name and its inode's number, one elsewhere its device's name alone.
bool hasJournalElsewhere(std::string_view device, fs::path const & root) {
   std::vector<std::string> const journals = namesIn(root / "proc/fs/jbd2");
   std::string const own = std::string{device} + "-";
   auto const isOwn = [&own](std::string const & journal) {
      return journal.starts_with(own) && journal.find_first_not_of("0123456789", own.size()) == journal.npos;
   };
   auto const isDevice = [&root](std::string const & journal) {
      return hasEntry(root / "sys/class/block" / journal);
   };
   return std::none_of(journals.begin(), journals.end(), isOwn) &&
          std::any_of(journals.begin(), journals.end(), isDevice);
}

}  // namespace

bool liesOnSeveralDevices(std::string_view device, fs::path const & root) {
   return isName(device) && (isBtrfsOnSeveral(device, root / "sys/fs/btrfs") ||
                             isXfsOnSeveral(device, root) || hasJournalElsewhere(device, root));
}

}  // namespace Agent
