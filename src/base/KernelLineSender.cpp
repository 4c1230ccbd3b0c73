#include "base/KernelLineSender.h"

#include <sys/socket.h>

#include <cerrno>
#include <system_error>

namespace Base {

KernelLineSender::KernelLineSender(std::string const & socketPath)
    : address_{socketPath}, fd_{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)} {
   if (!fd_)
      throw std::system_error{errno, std::generic_category(), "socket for kernel messages"};
}

KernelLineSender::Outcome KernelLineSender::send(std::string const & line) const {
   ssize_t sent = 0;
   do
      sent = sendto(fd_.get(), line.data(), line.size(), MSG_DONTWAIT | MSG_NOSIGNAL, address_.get(),
                    address_.size());
   while (sent < 0 && errno == EINTR);
   if (sent >= 0)
      return Outcome::sent;
   bool const isFull = errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS || errno == ENOMEM;
   return isFull ? Outcome::full : Outcome::dropped;
}

}  // namespace Base
