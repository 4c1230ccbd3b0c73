// The directory of the mount-source files: a host writes them, detection reads them, and neither lets a
// symbolic link in the directory's place lead it elsewhere.
#pragma once

#include <filesystem>

#include "runtime/Export.h"

namespace Mounts {

// The directory itself for names below it, as a descriptor (O_PATH) that the caller closes; or minus the
// errno value: ELOOP for a symbolic link, whether or not a slash stands behind it, ENOTDIR for anything else
// that is no directory. Links above it are followed.
RUNTIME_API int openSourceFolder(std::filesystem::path const & directory);

}  // namespace Mounts
