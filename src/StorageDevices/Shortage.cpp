#include "StorageDevices/Shortage.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>

namespace StorageDevices {

namespace {

// An event descriptor counts against the same limits as a file and needs no path.
int openAndClose(int count) {
   if (count == 0)
      return 0;
   int const fd = eventfd(0, EFD_CLOEXEC);
   if (fd < 0)
      return isShortage(errno) ? errno : 0;
   int const error = openAndClose(count - 1);
   close(fd);
   return error;
}

}  // namespace

int descriptorShortage(int count) {
   return openAndClose(count);
}

}  // namespace StorageDevices
