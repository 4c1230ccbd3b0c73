// Private mounts: this process and its children get a mount table of their own.
#pragma once

#include <sched.h>
#include <sys/mount.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

namespace Support {

// Makes the mount table private to this process. Answers the obstacle; empty on success.
inline std::string ownMountTable() {
   if (unshare(CLONE_NEWNS) != 0)
      return std::string{"no mount table of its own: "} + std::strerror(errno);
   if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
      return std::string{"the mount table stays shared: "} + std::strerror(errno);
   // So that a test can make the folders that it mounts on.
   if (mount("none", "/mnt", "tmpfs", 0, nullptr) != 0)
      return std::string{"cannot mount: "} + std::strerror(errno);
   return {};
}

// An empty file system in memory, with that source in the mount table.
class MountedFolder {
 public:
   MountedFolder(std::string const & source, std::filesystem::path path) : path_{std::move(path)} {
      std::filesystem::create_directories(path_);
      mounted_ = mount(source.c_str(), path_.c_str(), "tmpfs", 0, nullptr) == 0;
   }
   MountedFolder(MountedFolder const &) = delete;
   MountedFolder & operator=(MountedFolder const &) = delete;
   ~MountedFolder() {
      if (mounted_)
         umount2(path_.c_str(), MNT_DETACH);
   }
   explicit operator bool() const { return mounted_; }

 private:
   std::filesystem::path path_;
   bool mounted_;
};

}  // namespace Support
