// The ports of any machine: each disk that is proposed gets a pattern that can stand in blockdev, matches the
// disk's own path, and leads to its own mount name and to no other disk of the machine.
//
// A line is a disk: its path below /sys/devices, then its mount points, with a bar before each.
#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "Check.h"
#include "StorageDevices/ApplianceFiles.h"
#include "StorageDevices/ExprPattern.h"
#include "command/machine/Proposal.h"

namespace {

using namespace Command;

// A path of sysfs, whose last name is that of a disk: it begins with a letter.
bool isPath(std::string const & path) {
   std::size_t const name = path.rfind('/') + 1;
   constexpr std::size_t longest = 300;
   return name < path.size() && path.size() < longest && path.front() != '/' &&
          path.find('\0') == path.npos && std::isalpha(static_cast<unsigned char>(path[name])) != 0;
}

// Disks with the same path are the same disk.
std::vector<MachineDisk> disksIn(std::string const & input) {
   constexpr std::size_t mostDisks = 12;
   std::vector<MachineDisk> disks;
   std::set<std::string> paths;
   std::istringstream lines{input};
   for (std::string line; std::getline(lines, line) && disks.size() < mostDisks;) {
      std::istringstream words{line};
      MachineDisk disk;
      std::getline(words, disk.path, '|');
      for (std::string mountPoint; std::getline(words, mountPoint, '|');)
         disk.mountPoints.push_back(mountPoint);
      if (!isPath(disk.path) || !paths.insert(disk.path).second)
         continue;
      disk.device = "/dev/disk" + std::to_string(disks.size());
      disk.isRemovable = disk.mountPoints.size() % 2 == 1;
      disks.push_back(disk);
   }
   return disks;
}

// The names in a folder, of all these paths.
std::vector<std::string> namesIn(std::vector<MachineDisk> const & disks, std::string const & folder) {
   std::set<std::string> names;
   for (MachineDisk const & disk : disks)
      if (disk.path.starts_with(folder))
         names.insert(disk.path.substr(folder.size(), disk.path.find('/', folder.size()) - folder.size()));
   return {names.begin(), names.end()};
}

bool matches(StorageDevices::ExprPatterns & patterns, std::string const & path, std::string const & pattern) {
   // Two characters that may be a backslash and a bracket are left to expr, a process of its own.
   bool const isForExpr = path.find('\\') != path.npos;
   FUZZ_CHECK(isForExpr || StorageDevices::isPlainPattern(pattern));
   return isForExpr || patterns.ask(path.c_str(), pattern.c_str()).status == 0;
}

void checkListed(Proposal const & proposed, StorageDevices::BlockdevFile const & file) {
   StorageDevices::ExprPatterns patterns;
   std::size_t at = 0;
   for (ProposedDisk const & each : proposed.disks) {
      if (each.mount.empty())
         continue;
      auto const & entry = file.entries.at(at++);
      FUZZ_CHECK(entry.mount == each.mount && entry.pattern == each.disk.port.pattern);
      FUZZ_CHECK(matches(patterns, each.disk.path, entry.pattern));
   }
   FUZZ_CHECK(at == file.entries.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
   std::string const input(data, data + size);
   std::vector<MachineDisk> disks = disksIn(input);
   for (MachineDisk & disk : disks)
      disk.port = portPattern(disk.path, [&](std::string const & folder) { return namesIn(disks, folder); });
   Proposal const proposed = proposal(disks);
   FUZZ_CHECK(proposed.disks.size() == disks.size());
   std::istringstream text{proposed.blockdev()};
   StorageDevices::BlockdevFile const file = StorageDevices::readBlockdev(text);
   FUZZ_CHECK(!file.readError && !file.patternWithoutMount);
   checkListed(proposed, file);
   std::set<std::string> mounts;
   for (auto const & entry : file.entries)
      FUZZ_CHECK(mounts.insert(entry.mount).second);
   return 0;
}
