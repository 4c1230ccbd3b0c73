// The file of the file system health test, "debug/healthTestCookie" below a mount point.
//
// The test runs as root in folders where users may write, on file systems that may have been prepared. So
// these functions follow no link. They open only a regular file that has no second name and lies on the mount
// point's device. Anything else in its place they leave alone. The owner does not matter. The mount point may
// be a link.
//
// Each answers like the call of its name: on failure a negative value, with errno set. A refused file is
// ELOOP. ENOSYS means that an existing file cannot be opened, since /proc is not mounted.
#pragma once

#include "runtime/Pelm/String.h"

namespace StorageDevices::CookieFile {

Pelm::String path(Pelm::String const & mountPoint);

// Creates the folder, mode 0770. Answers 0 also when that name exists already.
int mkdir(Pelm::String const & mountPoint);
// ENOENT: there was no file.
int unlink(Pelm::String const & mountPoint);
// Answers a close-on-exec descriptor. With O_CREAT it creates a missing file, mode 0644.
int open(Pelm::String const & mountPoint, int flags);

}  // namespace StorageDevices::CookieFile
