// A service manager's socket.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/TempDir.h"

namespace Support {

class NotifySocket {
 public:
   // `name` is a path, or "@" and an abstract name.
   explicit NotifySocket(std::string name)
       : name_{std::move(name)}, fd_{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)} {
      sockaddr_un address{};
      address.sun_family = AF_UNIX;
      name_.copy(address.sun_path, sizeof address.sun_path - 1);
      if (name_.front() == '@')
         address.sun_path[0] = '\0';
      auto const size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name_.size());
      EXPECT_EQ(bind(fd_, reinterpret_cast<sockaddr const *>(&address), size), 0) << name_;
   }
   NotifySocket(NotifySocket const &) = delete;
   NotifySocket & operator=(NotifySocket const &) = delete;
   ~NotifySocket() { close(fd_); }

   std::string const & name() const { return name_; }

   // The states that have come since the last call.
   std::vector<std::string> received() const {
      std::vector<std::string> all;
      std::array<char, 256> buffer{};
      for (ssize_t size = 0; (size = recv(fd_, buffer.data(), buffer.size(), 0)) >= 0;)
         all.emplace_back(buffer.data(), static_cast<std::size_t>(size));
      return all;
   }
   // Waits for the next state, `patience` milliseconds at most; empty: none came.
   std::string next(int patience = 10000) const {
      pollfd ready{fd_, POLLIN, 0};
      std::array<char, 256> buffer{};
      if (poll(&ready, 1, patience) != 1)
         return {};
      ssize_t const size = recv(fd_, buffer.data(), buffer.size(), 0);
      return {buffer.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
   }

 private:
   std::string name_;
   int fd_;
};

}  // namespace Support
