// A Unix datagram socket that is read: a service manager's, or a collector's of log lines.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <string>
#include <vector>

#include "base/UniqueFd.h"
#include "base/UnixAddress.h"
#include "tests/support/TempDir.h"

namespace Support {

class DatagramSocket {
 public:
   // `name` is a path, or "@" and an abstract name. A socket of an earlier reader at the path is replaced.
   explicit DatagramSocket(std::string name)
       : name_{name}, fd_{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)} {
      if (name.front() == '@')
         name.front() = '\0';
      else
         unlink(name.c_str());
      Base::UnixAddress const address{name};
      EXPECT_EQ(bind(fd_.get(), address.get(), address.size()), 0) << name_;
   }

   std::string const & name() const { return name_; }

   // The datagrams that have come since the last call.
   std::vector<std::string> received() const {
      std::vector<std::string> all;
      for (std::string datagram; receive(datagram);)
         all.push_back(datagram);
      return all;
   }
   // Waits for the next datagram, `patience` milliseconds at most; empty: none came.
   std::string next(int patience = 10000) const {
      pollfd ready{fd_.get(), POLLIN, 0};
      std::string datagram;
      if (poll(&ready, 1, patience) == 1)
         receive(datagram);
      return datagram;
   }

 private:
   bool receive(std::string & datagram) const {
      std::array<char, 65536> buffer{};
      ssize_t const size = recv(fd_.get(), buffer.data(), buffer.size(), 0);
      datagram.assign(buffer.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
      return size >= 0;
   }

   std::string name_;
   Base::UniqueFd fd_;
};

}  // namespace Support
