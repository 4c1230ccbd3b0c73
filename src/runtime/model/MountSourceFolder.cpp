#include "runtime/model/MountSourceFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "runtime/Vorn/BlockingCall.h"

namespace StorageDevices::Mounts {

namespace {

namespace fs = std::filesystem;

// A trailing slash would make the system follow a link.
fs::path withoutSlash(fs::path const & directory) {
   fs::path const normal = directory.lexically_normal();
   return normal.has_filename() ? normal : normal.parent_path();
}

int kindError(int fd) {
   struct stat status {};
   if (fstat(fd, &status) != 0)
      return errno;
   if (S_ISLNK(status.st_mode))
      return ELOOP;
   return S_ISDIR(status.st_mode) ? 0 : ENOTDIR;
}

}  // namespace

int openSourceFolder(fs::path const & directory) {
   fs::path const path = withoutSlash(directory);
   Vorn::BlockingCall const call{"open", path.native()};
   int const fd = open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC);
   if (fd < 0)
      return -errno;
   int const error = kindError(fd);
   if (error == 0)
      return fd;
   close(fd);
   return -error;
}

}  // namespace StorageDevices::Mounts
