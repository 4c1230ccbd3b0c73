#include "StorageDevices/RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "StorageDevices/CharacterClasses.h"
#include "runtime/Vorn/BlockingCall.h"

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

}  // namespace

FileText readRegularFile(std::string const & path, std::size_t maxBytes) {
   FileText file;
   struct stat status {};
   Vorn::BlockingCall const call{"read", path};
   // A device may act on being opened, so it is not; what takes the file's place meanwhile is found out
   // below.
   if (stat(path.c_str(), &status) != 0)
      return {{}, errno, true, 0};
   if (!S_ISREG(status.st_mode))
      return {{}, 0, false, 0};
   int const fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
   if (fd < 0)
      return {{}, errno, true, 0};
   if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode))
      readAll(fd, file, maxBytes);
   else
      file.regular = false;
   close(fd);
   return file;
}

}  // namespace StorageDevices
