// A small HTTP server on the agent's own loop: GET and HEAD, answers made at once, no thread.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "agent/ListenSocket.h"

namespace Agent {

struct HttpRequest {
   std::string path;  // decoded
   // The value of a query argument; null when it is not there.
   std::function<char const *(char const * name)> argument;
};

struct HttpAnswer {
   unsigned status = 200;
   std::string contentType = "application/json";
   std::string body;
};

class HttpServer {
 public:
   using Handler = std::function<HttpAnswer(HttpRequest const &)>;

   // Serves the socket until it goes. Raises SocketError.
   HttpServer(ListenSocket socket, Handler handler);
   HttpServer(HttpServer const &) = delete;
   HttpServer & operator=(HttpServer const &) = delete;
   ~HttpServer();

 private:
   class Daemon;
   std::unique_ptr<Daemon> daemon_;
};

}  // namespace Agent
