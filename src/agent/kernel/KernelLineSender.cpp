#include "agent/kernel/KernelLineSender.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace Agent {

KernelLineSender::KernelLineSender(std::string const & socketPath) {
   if (socketPath.size() >= sizeof address_.sun_path)
      throw std::length_error{socketPath + ": is too long for a socket's path"};
   address_.sun_family = AF_UNIX;
   std::memcpy(address_.sun_path, socketPath.c_str(), socketPath.size() + 1);
   fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
   if (fd_ < 0)
      throw std::system_error{errno, std::generic_category(), "socket for kernel messages"};
}

KernelLineSender::~KernelLineSender() {
   close(fd_);
}

KernelLineSender::Outcome KernelLineSender::send(std::string const & line) const {
   auto const * const address = reinterpret_cast<sockaddr const *>(&address_);
   ssize_t sent = 0;
   do
      sent = sendto(fd_, line.data(), line.size(), MSG_DONTWAIT | MSG_NOSIGNAL, address, sizeof address_);
   while (sent < 0 && errno == EINTR);
   if (sent >= 0)
      return Outcome::sent;
   bool const isFull = errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS || errno == ENOMEM;
   return isFull ? Outcome::full : Outcome::dropped;
}

}  // namespace Agent
