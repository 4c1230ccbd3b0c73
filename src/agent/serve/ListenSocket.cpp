#include "agent/serve/ListenSocket.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include "base/UniqueFd.h"
#include "runtime/Vorn/Shortage.h"

namespace Agent {

namespace {

constexpr int backlog = 128;
constexpr char elsewhere[] = "; run as root or set status.socket elsewhere";

[[noreturn]] void fail(std::string const & what, int error) {
   throw SocketError{what + ": " + Vorn::errorAndRemedy(error)};
}

int newSocket(int family, int type = SOCK_STREAM) {
   int const fd = socket(family, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
   if (fd < 0)
      fail("cannot make a socket", errno);
   return fd;
}

sockaddr const * generic(sockaddr_un const & address) {
   return reinterpret_cast<sockaddr const *>(&address);
}

sockaddr_un addressOf(std::string const & path) {
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   if (path.size() >= sizeof address.sun_path)
      throw SocketError{path + ": is too long for a socket's path"};
   std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
   return address;
}

// Whether the file is a socket that a program has open, of any type.
bool isHeld(sockaddr_un const & address, int type) {
   Base::UniqueFd const probe{newSocket(AF_UNIX, type)};
   return connect(probe.get(), generic(address), sizeof address) == 0 ||
          (errno != ECONNREFUSED && errno != ENOENT);
}

// Every local user may connect: the answers are no secret on the machine, and no request changes anything.
// The mode is set at the creation: a later chmod could apply to another file in its place.
int bindForEverybody(int fd, sockaddr_un const & address) {
   constexpr mode_t nobodyExecutes = 0111;
   mode_t const before = umask(nobodyExecutes);
   int const result = bind(fd, generic(address), sizeof address);
   int const error = errno;
   umask(before);
   errno = error;
   return result;
}

}  // namespace

void clearSocketPath(std::string const & path, int type, std::string const & key) {
   sockaddr_un const address = addressOf(path);
   struct stat status {};
   if (lstat(path.c_str(), &status) != 0)
      return;
   if (!S_ISSOCK(status.st_mode))
      throw SocketError{path + ": is there already and is no socket; remove it or set " + key + " elsewhere"};
   if (isHeld(address, type))
      throw SocketError{path + ": another agent answers there; stop it first or set " + key + " elsewhere"};
   unlink(path.c_str());
}

ListenSocket::ListenSocket(int fd, std::string path)
    : fd_{fd}, path_{std::move(path)}, file_{path_.empty() ? File{} : fileAt(path_)} {}

ListenSocket::ListenSocket(ListenSocket && other) noexcept
    : fd_{std::exchange(other.fd_, -1)}, path_{std::move(other.path_)}, file_{other.file_} {
   other.path_.clear();
}

ListenSocket::File ListenSocket::fileAt(std::string const & path) {
   struct stat status {};
   if (lstat(path.c_str(), &status) != 0 || !S_ISSOCK(status.st_mode))
      return {};
   return {status.st_dev, status.st_ino};
}

ListenSocket::~ListenSocket() {
   if (!path_.empty() && file_ != File{} && fileAt(path_) == file_)
      unlink(path_.c_str());
   if (fd_ >= 0)
      close(fd_);
}

ListenSocket ListenSocket::atPath(std::string const & path) {
   sockaddr_un const address = addressOf(path);
   std::error_code error;
   std::filesystem::create_directories(std::filesystem::path{path}.parent_path(), error);
   if (error)
      throw SocketError{path + ": cannot make its directory: " + error.message() + elsewhere};
   clearSocketPath(path, SOCK_STREAM, "status.socket");
   Base::UniqueFd fd{newSocket(AF_UNIX)};
   if (bindForEverybody(fd.get(), address) != 0)
      throw SocketError{path + ": cannot make the status socket: " + std::generic_category().message(errno) +
                        elsewhere};
   ListenSocket socket{fd.release(), path};
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
      throw SocketError{address.text() + ": is no address to listen on"};
   std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> const found{list, &freeaddrinfo};
   Base::UniqueFd fd{newSocket(found->ai_family)};
   int const on = 1;
   setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
   if (bind(fd.get(), found->ai_addr, found->ai_addrlen) != 0 || listen(fd.get(), backlog) != 0)
      fail(address.text() + ": cannot listen there; check status.http", errno);
   return {fd.release(), {}};
}

}  // namespace Agent
