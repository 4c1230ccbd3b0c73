// A service manager's socket.
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

class NotifySocket {
 public:
   // `name` is a path, or "@" and an abstract name.
   explicit NotifySocket(std::string name)
       : name_{name}, fd_{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)} {
      if (name.front() == '@')
         name.front() = '\0';
      Base::UnixAddress const address{name};
      EXPECT_EQ(bind(fd_.get(), address.get(), address.size()), 0) << name_;
   }

   std::string const & name() const { return name_; }

   // The states that have come since the last call.
   std::vector<std::string> received() const {
      std::vector<std::string> all;
      std::array<char, 256> buffer{};
      for (ssize_t size = 0; (size = recv(fd_.get(), buffer.data(), buffer.size(), 0)) >= 0;)
         all.emplace_back(buffer.data(), static_cast<std::size_t>(size));
      return all;
   }
   // Waits for the next state, `patience` milliseconds at most; empty: none came.
   std::string next(int patience = 10000) const {
      pollfd ready{fd_.get(), POLLIN, 0};
      std::array<char, 256> buffer{};
      if (poll(&ready, 1, patience) != 1)
         return {};
      ssize_t const size = recv(fd_.get(), buffer.data(), buffer.size(), 0);
      return {buffer.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
   }

 private:
   std::string name_;
   Base::UniqueFd fd_;
};

}  // namespace Support
