#include "agent/serve/ListenSocket.h"

#include <grp.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/fsuid.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "base/UnixAddress.h"
#include "runtime/Vorn/Shortage.h"

namespace Agent {

namespace {

constexpr int backlog = 128;
constexpr char elsewhere[] = "; run as root or set status.socket elsewhere";

[[noreturn]] void fail(std::string const & what, int error) {
   throw Base::SocketError{what + ": " + Vorn::errorAndRemedy(error)};
}

Base::UniqueFd newSocket(int family) {
   Base::UniqueFd fd{socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
   if (!fd)
      fail("cannot make a socket", errno);
   return fd;
}

// Of the system's groups; raises Base::SocketError.
gid_t idOfGroup(std::string const & name) {
   std::array<char, 4096> text{};
   group entry{};
   group * found = nullptr;
   if (int const error = getgrnam_r(name.c_str(), &entry, text.data(), text.size(), &found); error != 0)
      fail("status.socket_group: cannot read the group " + name, error);
   if (found == nullptr)
      throw Base::SocketError{"status.socket_group: there is no group " + name +
                              "; create it, or name another one"};
   return found->gr_gid;
}

// Lets this thread make files of a group, for a scope.
class FileGroup {
 public:
   explicit FileGroup(gid_t wanted) : before_{current()} { setfsgid(wanted); }
   ~FileGroup() { setfsgid(before_); }
   FileGroup(FileGroup const &) = delete;
   FileGroup & operator=(FileGroup const &) = delete;

   // An impossible group changes nothing and is answered with the present one.
   static gid_t current() { return static_cast<gid_t>(setfsgid(static_cast<gid_t>(-1))); }

 private:
   gid_t before_;
};

// Mode and group are set at the creation: a later change by the path could apply to another file in its
// place.
int bindFor(std::optional<gid_t> group, int fd, Base::UnixAddress const & address) {
   std::optional<FileGroup> files;
   if (group)
      files.emplace(*group);
   if (group && FileGroup::current() != *group) {
      errno = EPERM;
      return -1;
   }
   mode_t const before = umask(group ? 0117 : 0177);
   int const result = bind(fd, address.get(), address.size());
   int const error = errno;
   umask(before);
   errno = error;
   return result;
}

}  // namespace

ListenSocket::ListenSocket(Base::UniqueFd fd, std::string path)
    : fd_{std::move(fd)}, path_{std::move(path)}, file_{fileAt(path_)} {}

ListenSocket::File ListenSocket::fileAt(std::string const & path) {
   struct stat status {};
   if (lstat(path.c_str(), &status) != 0 || !S_ISSOCK(status.st_mode))
      return {};
   return {status.st_dev, status.st_ino};
}

ListenSocket::~ListenSocket() {
   if (fd_ && file_ != File{} && fileAt(path_) == file_)
      unlink(path_.c_str());
}

ListenSocket ListenSocket::atPath(std::string const & path, std::string const & group) {
   Base::UnixAddress const address{path};
   std::optional<gid_t> const groupId = group.empty() ? std::nullopt : std::optional<gid_t>{idOfGroup(group)};
   std::error_code error;
   std::filesystem::create_directories(std::filesystem::path{path}.parent_path(), error);
   if (error)
      throw Base::SocketError{path + ": cannot make its directory: " + error.message() + elsewhere};
   Base::clearSocketPath(path, SOCK_STREAM, "status.socket");
   Base::UniqueFd fd = newSocket(AF_UNIX);
   if (bindFor(groupId, fd.get(), address) != 0)
      throw Base::SocketError{path + ": cannot make the status socket" +
                              (group.empty() ? "" : " for the group " + group) + ": " +
                              std::generic_category().message(errno) + elsewhere};
   ListenSocket socket{std::move(fd), path};
   if (listen(socket.fd(), backlog) != 0)
      fail(path + ": cannot listen on the status socket", errno);
   return socket;
}

ListenSocket ListenSocket::atAddress(Base::HttpAddress const & address) {
   addrinfo hints{};
   hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
   hints.ai_socktype = SOCK_STREAM;
   addrinfo * list = nullptr;
   if (getaddrinfo(address.host.c_str(), std::to_string(address.port).c_str(), &hints, &list) != 0)
      throw Base::SocketError{address.text() + ": is not an IP address"};
   std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> const found{list, &freeaddrinfo};
   Base::UniqueFd fd = newSocket(found->ai_family);
   int const on = 1;
   setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
   if (bind(fd.get(), found->ai_addr, found->ai_addrlen) != 0 || listen(fd.get(), backlog) != 0)
      fail(address.text() + ": cannot listen there; check status.http", errno);
   return {std::move(fd), {}};
}

}  // namespace Agent
