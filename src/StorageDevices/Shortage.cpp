#include "StorageDevices/Shortage.h"

#include <fcntl.h>
#include <unistd.h>

namespace StorageDevices {

namespace {

int openAndClose(int count) {
   if (count == 0)
      return 0;
   int const fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
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
