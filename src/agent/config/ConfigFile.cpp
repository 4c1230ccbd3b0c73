#include "agent/config/ConfigFile.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cmath>

#include "base/Text.h"
#include "base/UniqueFd.h"
#include "runtime/Vorn/BlockingCall.h"
#include "runtime/Vorn/Format.h"
#include "runtime/Vorn/Shortage.h"
#include "runtime/host/TimeSource.h"

namespace Agent {

namespace {

[[noreturn]] void fail(std::string const & path, std::string const & what) {
   throw ConfigError{Base::escaped(path) + ": " + what};
}

[[noreturn]] void failRead(std::string const & path, int error) {
   fail(path, "cannot be read: " + Vorn::errorAndRemedy(error) + "; name the file to use with --config");
}

// Whether the path names a descriptor that this process has inherited.
bool isHandedOpen(std::string const & path) {
   return path == "/dev/stdin" || path.starts_with("/dev/fd/") || path.starts_with("/proc/self/fd/");
}

// Whether it is /dev/null, which reads as an empty file.
bool isNull(struct stat const & status) {
   return S_ISCHR(status.st_mode) && status.st_rdev == makedev(1, 3);
}

// Opening any other device may already have an effect.
void checkKind(std::string const & path, struct stat const & status) {
   mode_t const mode = status.st_mode;
   if (S_ISREG(mode) || isNull(status) || (S_ISFIFO(mode) && isHandedOpen(path)))
      return;
   if (S_ISDIR(mode))
      fail(path, "is a directory; name the file in it with --config");
   if (S_ISFIFO(mode))
      fail(path, "is a pipe, which may stay open for ever; name a regular file with --config");
   fail(path, "is no regular file; name one with --config");
}

// Waits until the pipe has data or is at its end.
void await(std::string const & path, int fd, Vorn::Seconds patience, Vorn::Seconds deadline) {
   Vorn::Seconds const left = deadline - Vorn::Host::monotonicSeconds();
   pollfd pipe{fd, POLLIN, 0};
   int const ready = left > 0 ? poll(&pipe, 1, static_cast<int>(std::ceil(left.value() * 1e3))) : 0;
   if (ready == 0)
      fail(path, "did not end within " + Vorn::_fmt("%g", patience.value()).str() +
                     " s; check the program that writes it, or name a regular file with --config");
   if (ready < 0 && errno != EINTR)
      failRead(path, errno);
}

std::string content(std::string const & path, int fd, Vorn::Seconds patience) {
   Vorn::BlockingCall const call{"read", path};
   Vorn::Seconds const deadline = Vorn::Host::monotonicSeconds() + patience;
   std::string text;
   std::array<char, 65536> buffer{};
   while (text.size() <= maxConfigSize) {
      ssize_t const count = read(fd, buffer.data(), buffer.size());
      if (count == 0)
         break;
      if (count > 0)
         text.append(buffer.data(), static_cast<std::size_t>(count));
      else if (errno == EAGAIN)
         await(path, fd, patience, deadline);
      else if (errno != EINTR)
         failRead(path, errno);
   }
   return text;
}

}  // namespace

std::optional<std::string> configText(std::string const & path, Vorn::Seconds patience) {
   struct stat status {};
   if (stat(path.c_str(), &status) == 0)
      checkKind(path, status);
   // Non-blocking, so that it does not wait for the writer of a pipe.
   Base::UniqueFd const file{open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)};
   if (!file && errno == ENOENT)
      return std::nullopt;
   if (!file || fstat(file.get(), &status) != 0)
      failRead(path, errno);
   checkKind(path, status);
   return content(path, file.get(), patience);
}

Config configAt(std::optional<std::string> const & path, std::string const & usualPath) {
   std::string const & place = path ? *path : usualPath;
   auto const text = configText(place);
   if (!text && path)
      failRead(place, ENOENT);
   return text ? parseConfig(*text, place) : Config{};
}

Config configAgainAt(std::optional<std::string> const & path) {
   struct stat status {};
   if (path && stat(path->c_str(), &status) == 0 && S_ISFIFO(status.st_mode))
      fail(*path,
           "is a pipe, which can be read only once; name a regular file with --config at the next start");
   return configAt(path);
}

}  // namespace Agent
