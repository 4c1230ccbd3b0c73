#include "StorageDevices/CookieFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "base/UniqueFd.h"

namespace StorageDevices::CookieFile {

namespace {

constexpr char folderName[] = "debug";
constexpr char fileName[] = "healthTestCookie";

int failure(int error) {
   errno = error;
   return -1;
}

// Opens the folder below the mount point with O_PATH alone, and finds the device that all must be on.
int openFolder(Pelm::String const & mountPoint, dev_t & device) {
   Base::UniqueFd const root{::open(mountPoint.data(), O_PATH | O_DIRECTORY | O_CLOEXEC)};
   struct stat status {};
   if (!root || fstat(root.get(), &status) != 0)
      return -1;
   device = status.st_dev;
   Base::UniqueFd folder{openat(root.get(), folderName, O_PATH | O_NOFOLLOW | O_CLOEXEC)};
   if (!folder || fstat(folder.get(), &status) != 0)
      return -1;
   if (S_ISLNK(status.st_mode) || status.st_dev != device)
      return failure(ELOOP);
   return S_ISDIR(status.st_mode) ? folder.release() : failure(ENOTDIR);
}

bool isOwn(int fd, dev_t device) {
   struct stat status {};
   return fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1 &&
          status.st_dev == device;
}

// Opens what a descriptor with O_PATH stands for. Only /proc can do that; where it is not mounted, the
// file system is not to blame.
int openItself(int place, int flags) {
   constexpr char descriptors[] = "/proc/self/fd/";
   std::string const itself = descriptors + std::to_string(place);
   int const fd = ::open(itself.c_str(), flags | O_CLOEXEC);
   if (fd >= 0 || errno != ENOENT)
      return fd;
   return failure(access(descriptors, F_OK) == 0 ? ENOENT : ENOSYS);
}

// Opens an existing file. Opens it with O_PATH first, since opening a device may already trigger an action.
int openPresent(int folder, dev_t device, int flags) {
   Base::UniqueFd const place{openat(folder, fileName, O_PATH | O_NOFOLLOW | O_CLOEXEC)};
   if (!place)
      return -1;
   if (!isOwn(place.get(), device))
      return failure(ELOOP);
   return openItself(place.get(), flags & ~O_CREAT);
}

int openOrMake(int folder, dev_t device, int flags) {
   constexpr mode_t mode = 0644;
   int const fd = openPresent(folder, device, flags);
   if (fd >= 0 || errno != ENOENT || (flags & O_CREAT) == 0)
      return fd;
   // Fails where another process has created the file meanwhile.
   int const made = openat(folder, fileName, flags | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
   return made < 0 && errno == EEXIST ? failure(ELOOP) : made;
}

}  // namespace

Pelm::String path(Pelm::String const & mountPoint) {
   return Pelm::String{mountPoint.str() + "/" + folderName + "/" + fileName};
}

int mkdir(Pelm::String const & mountPoint) {
   constexpr mode_t mode = 0770;
   std::string const folder = mountPoint.str() + "/" + folderName;
   struct stat status {};
   return lstat(folder.c_str(), &status) == 0 ? 0 : ::mkdir(folder.c_str(), mode);
}

int unlink(Pelm::String const & mountPoint) {
   dev_t device = 0;
   Base::UniqueFd const folder{openFolder(mountPoint, device)};
   return !folder ? -1 : unlinkat(folder.get(), fileName, 0);
}

int open(Pelm::String const & mountPoint, int flags) {
   dev_t device = 0;
   Base::UniqueFd const folder{openFolder(mountPoint, device)};
   if (!folder)
      return errno == ENOTDIR ? failure(ELOOP) : -1;
   Base::UniqueFd file{openOrMake(folder.get(), device, flags)};
   if (!file)
      return -1;
   return isOwn(file.get(), device) ? file.release() : failure(ELOOP);
}

}  // namespace StorageDevices::CookieFile
