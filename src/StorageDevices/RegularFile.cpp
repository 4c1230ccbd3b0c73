#include "StorageDevices/RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "StorageDevices/CharacterClasses.h"
#include "base/UniqueFd.h"
#include "runtime/Vorn/BlockingCall.h"
#include "runtime/model/MountSourceFolder.h"

namespace StorageDevices {

namespace {

void readAll(int fd, FileText & file, std::size_t maxBytes) {
   std::array<char, 16384> buffer;
   while (file.text.size() < maxBytes) {
      ssize_t const count = read(fd, buffer.data(), std::min(buffer.size(), maxBytes - file.text.size()));
      if (count == 0)
         return;
      if (count > 0) {
         file.text.append(buffer.data(), static_cast<std::size_t>(count));
      } else if (errno != EINTR) {
         file.readError = errno;
         while (!file.text.empty() && !isSpace(file.text.back()))
            file.text.pop_back();
         return;
      }
   }
}

// `path` is below the directory that `folder` stands for.
FileText readBelow(int folder, std::string const & path, std::size_t maxBytes) {
   FileText file;
   struct stat status {};
   // Opening a device may trigger an action, so the type is checked before. A replacement in between is found
   // below.
   if (fstatat(folder, path.c_str(), &status, 0) != 0)
      return {{}, errno, true, 0};
   if (!S_ISREG(status.st_mode))
      return {{}, 0, false, 0};
   Base::UniqueFd const fd{openat(folder, path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)};
   if (!fd)
      return {{}, errno, true, 0};
   if (fstat(fd.get(), &status) == 0 && S_ISREG(status.st_mode))
      readAll(fd.get(), file, maxBytes);
   else
      file.regular = false;
   return file;
}

}  // namespace

FileText readRegularFile(std::string const & path, std::size_t maxBytes) {
   Vorn::BlockingCall const call{"read", path};
   return readBelow(AT_FDCWD, path, maxBytes);
}

FileText readMountSource(std::string const & directory, std::string const & name, std::size_t maxBytes) {
   int const opened = Mounts::openSourceFolder(directory);
   if (opened < 0)
      return {{}, -opened, true, 0};
   Base::UniqueFd const folder{opened};
   Vorn::BlockingCall const call{"read", directory + "/" + name};
   // The dot keeps a name that begins with a slash below the directory.
   return readBelow(folder.get(), "./" + name, maxBytes);
}

}  // namespace StorageDevices
