#include "simulation/FileSystems.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <sstream>
#include <system_error>
#include <utility>
#include <vector>

#include "base/UniqueFd.h"
#include "simulation/TextFile.h"

namespace StorageDevices::Simulation {

namespace {

namespace fs = std::filesystem;

// Some file systems refuse direct I/O when the file is opened, others when it is written.
bool supportsDirectIo(fs::path const & folder) {
   constexpr std::size_t size = 4096;
   alignas(size) static char const block[size] = {};
   auto const probe = folder / "probe";
   Base::UniqueFd const fd{open(probe.c_str(), O_WRONLY | O_CREAT | O_DIRECT | O_CLOEXEC, 0600)};
   bool const good = write(fd.get(), block, size) == static_cast<ssize_t>(size);
   unlink(probe.c_str());
   return good;
}

// Empty when it cannot be created.
fs::path freshFolder(fs::path const & parent) {
   std::string path = parent / "storagedevices-unit.XXXXXX";
   return mkdtemp(path.data()) == nullptr ? fs::path() : fs::path(path);
}

// Candidates for the parent of the mount points' folder, best first.
std::vector<fs::path> candidates(fs::path const & root) {
   std::vector<fs::path> parents{root, "/var/tmp"};
   for (auto const * variable : {"XDG_CACHE_HOME", "HOME"})
      if (char const * const value = std::getenv(variable); value != nullptr && *value == '/')
         parents.emplace_back(value);
   return parents;
}

}  // namespace

FileSystems::FileSystems(fs::path root) : root_(std::move(root)) {
   fs::create_directories(root_ / "proc/self");
   fs::create_directories(root_ / "sys/dev/block");
   makeFolder();
   fs::create_directory_symlink(folder_, root_ / "mnt");
   writeTable();
   writeResults();
}

FileSystems::~FileSystems() {
   std::error_code ignored;
   fs::remove_all(folder_, ignored);
}

// A file system in memory may not support direct I/O; then the folder is created elsewhere.
void FileSystems::makeFolder() {
   for (auto const & parent : candidates(root_)) {
      auto const folder = freshFolder(parent);
      directIo_ = !folder.empty() && supportsDirectIo(folder);
      if (directIo_) {
         folder_ = folder;
         return;
      }
      if (!folder.empty())
         rmdir(folder.c_str());
   }
   folder_ = freshFolder(root_);
   if (folder_.empty())
      throw std::system_error(errno, std::generic_category(), root_.string() + ": no folder can be made");
}

void FileSystems::mountIs(std::string_view name, std::string_view partition, Access access) {
   fs::create_directories(folder_ / name);
   mounts_.insert_or_assign(std::string(name), Mount{std::string(partition), access});
   writeTable();
}

void FileSystems::mountDel(std::string_view name) {
   if (auto const mount = mounts_.find(name); mount != mounts_.end())
      mounts_.erase(mount);
   writeTable();
}

void FileSystems::usedPercentIs(std::string_view name, unsigned percent) {
   media_[std::string(name)].usedPercent = percent;
   writeResults();
}

void FileSystems::writeErrorIs(std::string_view name, int error) {
   media_[std::string(name)].writeError = error;
   writeResults();
}

// A partition gets its device number at its first mount. Its name and block size are found by that number.
std::string FileSystems::deviceNumber(std::string const & partition) {
   constexpr char major[] = "259:";
   auto const known = numbers_.find(partition);
   if (known != numbers_.end())
      return known->second;
   auto number = major + std::to_string(numbers_.size());
   auto const device = root_ / "sys/dev/block" / number;
   fs::create_directories(device / "queue");
   textFileIs(device / "uevent", "DEVNAME=" + partition + "\nDEVTYPE=partition\n");
   textFileIs(device / "queue/logical_block_size", "4096\n");
   return numbers_.emplace(partition, std::move(number)).first->second;
}

void FileSystems::writeTable() {
   std::ostringstream table;
   unsigned id = 25;
   for (auto const & [name, mount] : mounts_) {
      auto const * const access = mount.access == Access::readOnly ? "ro" : "rw";
      table << ++id << " 25 " << deviceNumber(mount.partition) << " / /mnt/" << name << " " << access
            << ",relatime shared:1 - ext4 /dev/" << mount.partition << " " << access << "\n";
   }
   textFileIs(root_ / "proc/self/mountinfo", table.str());
}

void FileSystems::writeResults() const {
   std::ostringstream text;
   for (auto const & [name, medium] : media_) {
      if (medium.usedPercent > 0)
         text << "/mnt/" << name << " utilChkRet " << medium.usedPercent << "\n";
      if (medium.writeError != 0)
         text << "/mnt/" << name << " writeRet -1\n/mnt/" << name << " writeErrno " << medium.writeError
              << "\n";
   }
   textFileIs(root_ / "io-results", text.str());
}

}  // namespace StorageDevices::Simulation
