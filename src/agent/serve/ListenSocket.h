// The sockets on which the agent is asked.
#pragma once

#include <stdexcept>
#include <string>

#include "base/HttpAddress.h"

namespace Agent {

// A socket that cannot be had; the text names it and says what to do.
class SocketError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

// Makes way for a Unix socket of that type: a file left behind by a program that is gone is removed. Raises
// SocketError for a socket that somebody holds and for any other file; `key` is the configuration's that
// names the path.
void clearSocketPath(std::string const & path, int type, std::string const & key);

// A listening socket, non-blocking. A Unix socket's file goes with it.
class ListenSocket {
 public:
   // Makes missing directories. A file left behind by an agent that is gone is replaced; a socket that
   // somebody answers on is not. Raises SocketError.
   static ListenSocket atPath(std::string const & path);
   static ListenSocket atAddress(HttpAddress const & address);

   ListenSocket(ListenSocket && other) noexcept;
   ListenSocket & operator=(ListenSocket && other) = delete;
   ~ListenSocket();

   int fd() const { return fd_; }

 private:
   // What tells one socket's file from another's.
   struct File {
      unsigned long long device = 0;
      unsigned long long inode = 0;
      bool operator==(File const &) const = default;
   };

   ListenSocket(int fd, std::string path);
   // All zero where there is no socket; a link is none.
   static File fileAt(std::string const & path);

   int fd_;
   std::string path_;  // of a Unix socket, else empty
   File file_;         // made here: one that somebody else puts there later is left alone
};

}  // namespace Agent
