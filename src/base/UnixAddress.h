// The address of a Unix socket.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Base {

class UnixAddress {
 public:
   // The longest path of a socket: bytes, without the NUL behind it.
   static constexpr std::size_t longestPath = sizeof sockaddr_un{}.sun_path - 1;

   // A name that begins with NUL is abstract: no file has it. Raises std::length_error for a longer name.
   explicit UnixAddress(std::string_view name)
       : size_{static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size())} {
      if (name.size() > longestPath)
         throw std::length_error{std::string{name} + ": is too long for a socket's path"};
      address_.sun_family = AF_UNIX;
      name.copy(address_.sun_path, name.size());
   }

   sockaddr const * get() const { return reinterpret_cast<sockaddr const *>(&address_); }
   socklen_t size() const { return size_; }

 private:
   sockaddr_un address_{};
   socklen_t size_;
};

}  // namespace Base
