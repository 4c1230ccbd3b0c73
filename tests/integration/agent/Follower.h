#pragma once

#include <sys/socket.h>

#include <array>
#include <string>
#include <vector>

#include "base/UniqueFd.h"
#include "base/UnixAddress.h"

// A client that follows the agent's events.
class Follower {
 public:
   explicit Follower(std::string const & path, std::string const & field = "") {
      Base::UnixAddress const address{path};
      if (connect(fd_.get(), address.get(), address.size()) != 0)
         return;
      std::string const request = "GET /api/v1/events HTTP/1.0\r\nHost: x\r\n" + field + "\r\n";
      send(fd_.get(), request.data(), request.size(), MSG_NOSIGNAL);
   }

   // What has come so far.
   std::string const & text() {
      std::array<char, 65536> buffer;
      for (ssize_t count; (count = recv(fd_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT)) > 0;)
         text_.append(buffer.data(), static_cast<std::size_t>(count));
      return text_;
   }
   bool has(std::string const & what) { return text().find(what) != std::string::npos; }
   // The numbers of the messages.
   std::vector<int> ids() {
      std::vector<int> ids;
      std::string const & all = text();
      for (std::size_t at = 0; (at = all.find("\nid: ", at)) != std::string::npos; ++at)
         ids.push_back(std::stoi(all.substr(at + 5)));
      return ids;
   }
   std::size_t count(std::string const & what) {
      std::size_t count = 0;
      for (std::size_t at = 0; (at = text().find(what, at)) != std::string::npos; ++at)
         ++count;
      return count;
   }

 private:
   Base::UniqueFd fd_{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
   std::string text_;
};
