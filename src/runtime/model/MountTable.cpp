#include "runtime/model/MountTable.h"

#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>
#include <system_error>

#include "base/MountInfo.h"
#include "runtime/Vorn/BlockingCall.h"
#include "runtime/Vorn/Shortage.h"

namespace StorageDevices::Mounts {

namespace {

namespace fs = std::filesystem;

std::string & root() {
   static std::string directory;
   return directory;
}

fs::path sysDevice(dev_t number) {
   return root() + "/sys/dev/block/" + std::to_string(major(number)) + ":" + std::to_string(minor(number));
}

std::string firstWord(fs::path const & file) {
   std::string word;
   std::ifstream{file} >> word;
   return word;
}

// The node of the device with that folder in sysfs.
std::optional<std::string> nodeOf(fs::path const & sysfs) {
   std::ifstream uevent{sysfs / "uevent"};
   constexpr std::string_view prefix = "DEVNAME=";
   for (std::string line; std::getline(uevent, line);)
      if (line.starts_with(prefix))
         return "/dev/" + line.substr(prefix.size());
   return std::nullopt;
}

// The logical block size; that of a partition is in its disk's folder.
std::uint32_t blockSize(fs::path const & sysfs) {
   std::error_code error;
   fs::path const device = fs::canonical(sysfs, error);
   std::string text = firstWord(device / "queue/logical_block_size");
   if (text.empty())
      text = firstWord(device.parent_path() / "queue/logical_block_size");
   std::uint32_t size = 0;
   std::from_chars(text.data(), text.data() + text.size(), size);
   constexpr std::uint32_t smallest = 8;
   bool const usable = size >= smallest && (size & (size - 1)) == 0;
   return usable ? size : 0;
}

// The number of the mount's device. A file system on several devices (btrfs) has a virtual number; then that
// of its source.
std::optional<dev_t> numberOf(Base::MountInfo const & mount) {
   if (major(mount.number) != 0)
      return mount.number;
   constexpr std::string_view dev = "/dev/";
   if (!mount.source.starts_with(dev))
      return std::nullopt;
   std::string const name = mount.source.substr(dev.size());
   if (name.find('/') != std::string::npos)
      return std::nullopt;
   return Base::parseDeviceNumber(firstWord(root() + "/sys/class/block/" + name + "/dev"));
}

Mount describe(Base::MountInfo const & mount) {
   Mount result;
   result.device = mount.source;
   // On newer kernels the table still shows "rw" for an ext4 that errors=remount-ro has made read-only.
   result.readOnly = mount.has("ro") || mount.has("emergency_ro");
   if (auto const number = numberOf(mount)) {
      result.device = nodeOf(sysDevice(*number)).value_or(mount.source);
      result.blkSize = blockSize(sysDevice(*number));
   }
   return result;
}

// Calls `visit` for each line of the table, in order.
template <class Visit>
void forEachMount(Visit visit) {
   std::string const file = root() + "/proc/self/mountinfo";
   errno = 0;
   std::ifstream table{file};
   if (!table && Vorn::isShortage(errno))
      throw std::system_error{errno, std::generic_category(), file};
   for (std::string line; std::getline(table, line);)
      if (auto const mount = Base::parseMountInfo(line))
         visit(*mount);
}

void collectBelow(std::string const & name, std::vector<std::string> & found) {
   constexpr std::size_t most = 64;
   std::error_code error;
   std::vector<std::string> names;
   for (auto const & slave : fs::directory_iterator{root() + "/sys/class/block/" + name + "/slaves", error})
      names.push_back(slave.path().filename());
   std::sort(names.begin(), names.end());
   for (std::string const & below : names) {
      std::string const node = "/dev/" + below;
      if (found.size() == most || std::find(found.begin(), found.end(), node) != found.end())
         continue;
      found.push_back(node);
      collectBelow(below, found);
   }
}

}  // namespace

std::vector<Mount> mountsAt(Pelm::String const & path) {
   Vorn::BlockingCall const call{"mount table query", path.view()};
   std::vector<Mount> result;
   forEachMount([&](Base::MountInfo const & mount) {
      if (path == mount.target)
         result.push_back(describe(mount));
   });
   return result;
}

std::vector<std::string> mountPoints() {
   Vorn::BlockingCall const call{"mount table query", "/proc/self/mountinfo"};
   std::vector<std::string> result;
   forEachMount([&](Base::MountInfo const & mount) {
      if (std::find(result.begin(), result.end(), mount.target) == result.end())
         result.push_back(mount.target);
   });
   return result;
}

std::vector<std::string> devicesBelow(std::string const & device) {
   Vorn::BlockingCall const call{"sysfs query", device};
   std::vector<std::string> found;
   std::string const name = fs::path{device}.filename();
   if (name.starts_with("dm-"))
      collectBelow(name, found);
   return found;
}

Pelm::String accessPath(Pelm::String const & mountPoint) {
   return Pelm::String{root() + mountPoint.str()};
}

void rootIs(std::string const & directory) {
   root() = directory;
}

}  // namespace StorageDevices::Mounts
