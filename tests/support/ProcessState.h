// The process's children, descriptors and settings.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Support {

// Zombies count: they are children until they are reaped.
inline bool hasChildren() {
   siginfo_t info{};
   return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0 || errno != ECHILD;
}

// Whether the descriptor belongs to the thread that simulates devices, whose descriptors change at any time.
inline bool isSimulations(int fd) {
   std::array<char, 64> target{};
   std::string const link = "/proc/self/fd/" + std::to_string(fd);
   if (readlink(link.c_str(), target.data(), target.size() - 1) > 0 &&
       std::string_view{target.data()} == "anon_inode:[eventfd]")
      return true;
   sockaddr_un address{};
   socklen_t size = sizeof address;
   return getsockname(fd, reinterpret_cast<sockaddr *>(&address), &size) == 0 &&
          address.sun_family == AF_UNIX && std::string_view{address.sun_path}.ends_with("/ioctl/_default");
}

inline std::vector<int> openDescriptors() {
   constexpr int highest = 1024;
   std::vector<int> result;
   for (int fd = 0; fd < highest; ++fd)
      if (fcntl(fd, F_GETFD) >= 0 && !isSimulations(fd))
         result.push_back(fd);
   return result;
}

// Sets an environment variable for its scope.
class EnvironmentSetting {
 public:
   EnvironmentSetting(char const * name, std::string const & value) : name_{name} {
      if (char const * const before = std::getenv(name))
         before_ = before;
      setenv(name, value.c_str(), 1);
   }
   EnvironmentSetting(EnvironmentSetting const &) = delete;
   EnvironmentSetting & operator=(EnvironmentSetting const &) = delete;
   ~EnvironmentSetting() {
      if (before_)
         setenv(name_, before_->c_str(), 1);
      else
         unsetenv(name_);
   }

 private:
   char const * name_;
   std::optional<std::string> before_;
};

// For its scope this process can open at most `room` further descriptors.
class DescriptorLimit {
 public:
   explicit DescriptorLimit(unsigned room) {
      getrlimit(RLIMIT_NOFILE, &before_);
      rlimit limit = before_;
      limit.rlim_cur = 0;
      // The limit applies to the number: free numbers below it are room too.
      for (unsigned found = 0;; ++limit.rlim_cur)
         if (fcntl(static_cast<int>(limit.rlim_cur), F_GETFD) < 0 && found++ == room)
            break;
      setrlimit(RLIMIT_NOFILE, &limit);
   }
   DescriptorLimit(DescriptorLimit const &) = delete;
   DescriptorLimit & operator=(DescriptorLimit const &) = delete;
   ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &before_); }

 private:
   rlimit before_{};
};

}  // namespace Support
