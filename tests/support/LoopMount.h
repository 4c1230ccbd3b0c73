// A file system in a file, on a loop device of its own, mounted in the mount table of this process alone.
#pragma once

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/TempDir.h"

namespace Support {

class LoopMount {
 public:
   // `lacking` names a missing condition: the right to mount, loop devices, the program or the file system.
   LoopMount(std::string const & type, std::string const & options) {
      std::filesystem::path const image = folder_.path() / "image";
      std::ofstream{image}.close();
      constexpr std::uintmax_t size = 24 << 20;
      std::filesystem::resize_file(image, size);
      std::string const make = "mkfs." + type + " -q " + image.string() + " >/dev/null 2>&1";
      if (std::system(make.c_str()) != 0)  // NOLINT: the path is our own
         lacking_ = "mkfs." + type;
      else if (attach(image); lacking_.empty())
         mountIt(type, options);
   }
   LoopMount(LoopMount const &) = delete;
   LoopMount & operator=(LoopMount const &) = delete;
   ~LoopMount() {
      if (mounted_)
         umount2(path().c_str(), MNT_DETACH);
      if (device_ >= 0)
         close(device_);  // which detaches the image
   }

   std::string const & lacking() const { return lacking_; }
   std::filesystem::path path() const { return folder_.path() / "mount"; }
   std::string const & device() const { return name_; }

 private:
   void attach(std::filesystem::path const & image) {
      int const control = open("/dev/loop-control", O_RDWR | O_CLOEXEC);
      int const number = control < 0 ? -1 : ioctl(control, LOOP_CTL_GET_FREE);
      name_ = "/dev/loop" + std::to_string(number);
      int const file = open(image.c_str(), O_RDWR | O_CLOEXEC);
      device_ = number < 0 ? -1 : open(name_.c_str(), O_RDWR | O_CLOEXEC);
      loop_info64 info{};
      info.lo_flags = LO_FLAGS_AUTOCLEAR;
      if (device_ < 0 || file < 0 || ioctl(device_, LOOP_SET_FD, file) != 0 ||
          ioctl(device_, LOOP_SET_STATUS64, &info) != 0)
         lacking_ = std::string{"a loop device: "} + std::strerror(errno);
      for (int const fd : {control, file})
         if (fd >= 0)
            close(fd);
   }
   void mountIt(std::string const & type, std::string const & options) {
      std::filesystem::create_directory(path());
      mounted_ = mount(name_.c_str(), path().c_str(), type.c_str(), 0, options.c_str()) == 0;
      if (!mounted_)
         lacking_ = "a mount of " + type + ": " + std::strerror(errno);
   }

   TempDir folder_;
   std::string name_;
   std::string lacking_;
   int device_ = -1;
   bool mounted_ = false;
};

}  // namespace Support
