// The file of the file system health test, "debug/healthTestCookie" below a mount point.
//
// The test runs as root where users may write, and a file system may come prepared. So these follow no link,
// use a regular file alone, with that one name and on the mount point's device, and open nothing else: what
// stands in its place is left as it is. Who owns it does not matter. The mount point itself may be a link.
//
// Each answers as the call that it is named after: negative, and errno, on failure; ELOOP for what is
// refused.
#pragma once

#include "runtime/Pelm/String.h"

namespace StorageDevices::CookieFile {

Pelm::String path(Pelm::String const & mountPoint);

// Makes the folder, mode 0770. 0 also when anything of that name is there.
int mkdir(Pelm::String const & mountPoint);
// ENOENT: there was no file.
int unlink(Pelm::String const & mountPoint);
// A descriptor, closed in children. With O_CREAT a missing file is made, mode 0644.
int open(Pelm::String const & mountPoint, int flags);

}  // namespace StorageDevices::CookieFile
