#include "base/SocketPath.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "base/UniqueFd.h"
#include "base/UnixAddress.h"

namespace Base {

namespace {

// Whether the file is a socket that a program has open, of any type.
bool isInUse(UnixAddress const & address, int type) {
   UniqueFd const probe{socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
   if (!probe)
      throw std::system_error{errno, std::generic_category(), "cannot make a socket"};
   return connect(probe.get(), address.get(), address.size()) == 0 ||
          (errno != ECONNREFUSED && errno != ENOENT);
}

}  // namespace

void clearSocketPath(std::string const & path, int type, std::string const & key) {
   UnixAddress const address{path};
   struct stat status {};
   if (lstat(path.c_str(), &status) != 0)
      return;
   if (!S_ISSOCK(status.st_mode))
      throw SocketError{path + ": exists and is not a socket; remove it or set " + key + " elsewhere"};
   if (isInUse(address, type))
      throw SocketError{path + ": another program uses it; stop that first or set " + key + " elsewhere"};
   unlink(path.c_str());
}

}  // namespace Base
