// A folder in place of a mount point; its file system supports direct I/O.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

#include "tests/support/TempDir.h"

namespace Support {

inline bool supportsDirectIo(std::filesystem::path const & folder) {
   TempDir const probe{folder};
   int const fd = open((probe.path() / "probe").c_str(), O_WRONLY | O_CREAT | O_DIRECT | O_CLOEXEC, 0600);
   if (fd >= 0)
      close(fd);
   return fd >= 0;
}

inline std::filesystem::path folderWithDirectIo() {
   for (std::filesystem::path const & folder :
        {std::filesystem::temp_directory_path(), std::filesystem::path{"/var/tmp"},
         std::filesystem::current_path()})
      if (supportsDirectIo(folder))
         return folder;
   throw std::runtime_error{"no folder here supports direct I/O"};
}

}  // namespace Support
