// Sends a request to an HTTP server of this process: the loop turns while the test waits for the answer.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <string>

#include "base/UniqueFd.h"
#include "base/UnixAddress.h"
#include "runtime/host/Loop.h"

namespace Support {

class HttpExchange {
 public:
   // Connects and sends; the answer is read by `answer`.
   HttpExchange(std::string const & socketPath, std::string const & request)
       : fd_{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)} {
      Base::UnixAddress const address{socketPath};
      connected_ = connect(fd_.get(), address.get(), address.size()) == 0;
      if (connected_)
         more(request);
   }
   // Likewise, over TCP to this machine.
   HttpExchange(std::uint16_t port, std::string const & request)
       : fd_{socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)} {
      sockaddr_in address{};
      address.sin_family = AF_INET;
      address.sin_port = htons(port);
      address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
      connected_ = connect(fd_.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
      if (connected_)
         more(request);
   }

   bool connected() const { return connected_; }
   void more(std::string const & text) const {
      send(fd_.get(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
   }

   // Sends the text; whether the server still receives it.
   bool isAccepted(std::string const & text) const {
      return send(fd_.get(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT) > 0;
   }
   void endSending() const { shutdown(fd_.get(), SHUT_WR); }

   // The answer: the bytes until the server closes, or for five seconds at most.
   std::string answer() {
      Vorn::Seconds const deadline = Vorn::System::currentTime() + 5;
      while (!readSome() && Vorn::System::currentTime() < deadline)
         Vorn::Host::turn(0.001);
      return text_;
   }

   std::string const & text() const { return text_; }
   // Reads the available bytes; true at the end of the answer.
   bool readSome() {
      std::array<char, 65536> buffer{};
      ssize_t const count = recv(fd_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
      if (count > 0)
         text_.append(buffer.data(), static_cast<std::size_t>(count));
      wasReset_ |= count < 0 && errno == ECONNRESET;
      return count == 0;
   }
   bool wasReset() const { return wasReset_; }

 private:
   Base::UniqueFd fd_;
   bool connected_ = false;
   bool wasReset_ = false;
   std::string text_;
};

inline std::string httpGet(std::string const & socketPath, std::string const & resource) {
   return HttpExchange{socketPath, "GET " + resource + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"}
       .answer();
}

}  // namespace Support
