// Opens the directory of the mount-source files, which a host writes and detection reads. A symbolic link in
// its place is refused.
#pragma once

#include <filesystem>

#include "runtime/Export.h"

namespace StorageDevices::Mounts {

// A descriptor (O_PATH) of the directory, which the caller closes, or minus the errno value. That is ELOOP
// for a symbolic link, with or without a trailing slash, and ENOTDIR for any other kind of file. Links in its
// parents are followed.
VORN_API int openSourceFolder(std::filesystem::path const & directory);

}  // namespace StorageDevices::Mounts
