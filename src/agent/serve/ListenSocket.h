// The sockets on which the agent serves.
#pragma once

#include <string>

#include "base/HttpAddress.h"
#include "base/SocketPath.h"
#include "base/UniqueFd.h"

namespace Agent {

// A non-blocking listening socket. Its destruction removes the file of a Unix socket.
class ListenSocket {
 public:
   // Only this user may connect, and with `group`, its members too. Creates missing directories. Replaces the
   // socket file of an ended agent, but no socket in use. Raises Base::SocketError, for an unknown group too.
   static ListenSocket atPath(std::string const & path, std::string const & group = {});
   static ListenSocket atAddress(Base::HttpAddress const & address);

   ListenSocket(ListenSocket && other) noexcept = default;
   ListenSocket & operator=(ListenSocket && other) = delete;
   ~ListenSocket();

   int fd() const { return fd_.get(); }

 private:
   // The identity of a socket's file.
   struct File {
      unsigned long long device = 0;
      unsigned long long inode = 0;
      bool operator==(File const &) const = default;
   };

   ListenSocket(Base::UniqueFd fd, std::string path);
   // All zero if the path is no socket; links are not followed.
   static File fileAt(std::string const & path);

   Base::UniqueFd fd_;
   std::string path_;  // of a Unix socket, else empty
   File file_;         // as created here; another file in its place is not removed
};

}  // namespace Agent
