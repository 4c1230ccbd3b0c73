// A server on a Unix socket in the place of an agent, on a thread of its own.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "base/UniqueFd.h"
#include "base/UnixAddress.h"

namespace Support {

class FakeAgent {
 public:
   // Answers the body for a resource such as "/api/v1/state?history=0"; empty: 404.
   using Body = std::function<std::string(std::string const & resource)>;
   // Does whatever it likes with a connection whose request has been read.
   using Treatment = std::function<void(int connection, std::string const & resource)>;

   FakeAgent(std::string const & path, Treatment treatment) : treatment_{std::move(treatment)} {
      Base::UnixAddress const address{path};
      listener_.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
      if (bind(listener_.get(), address.get(), address.size()) != 0 || listen(listener_.get(), 8) != 0)
         throw std::runtime_error{"no socket at " + path};
      server_ = std::thread{[this] { serve(); }};
   }
   static Treatment answering(Body body) {
      return [body = std::move(body)](int connection, std::string const & resource) {
         std::string const text = body(resource);
         std::string const answer = std::string{"HTTP/1.1 "} + (text.empty() ? "404 Not Found" : "200 OK") +
                                    "\r\nConnection: close\r\n\r\n" + text;
         send(connection, answer.data(), answer.size(), MSG_NOSIGNAL);
      };
   }
   // Sends a byte of a head that never ends every 50 ms, until the client has had enough.
   static void dribble(int connection, std::string const &) {
      std::string_view const head = "HTTP/1.1 200 OK\r\nX: ";
      constexpr int pauseMs = 50;
      pollfd client{connection, POLLRDHUP, 0};
      send(connection, head.data(), head.size(), MSG_NOSIGNAL);
      while (poll(&client, 1, pauseMs) == 0 && send(connection, "x", 1, MSG_NOSIGNAL) == 1) {
      }
   }
   FakeAgent(FakeAgent const &) = delete;
   FakeAgent & operator=(FakeAgent const &) = delete;
   ~FakeAgent() {
      shutdown(listener_.get(), SHUT_RDWR);  // wakes the thread
      server_.join();
   }

 private:
   void serve() {
      for (;;) {
         Base::UniqueFd const connection{accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC)};
         if (!connection)
            return;
         std::string const request = requestOn(connection.get());
         std::size_t const begin = request.find(' ') + 1;
         treatment_(connection.get(), request.substr(begin, request.find(' ', begin) - begin));
      }
   }
   static std::string requestOn(int connection) {
      std::string request;
      std::array<char, 4096> buffer{};
      while (request.find("\r\n\r\n") == std::string::npos) {
         ssize_t const count = recv(connection, buffer.data(), buffer.size(), 0);
         if (count <= 0)
            break;
         request.append(buffer.data(), static_cast<std::size_t>(count));
      }
      return request;
   }

   Treatment treatment_;
   Base::UniqueFd listener_;
   std::thread server_;
};

}  // namespace Support
