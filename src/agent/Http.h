// A small HTTP server on the agent's own loop: GET and HEAD, no thread.
//
// A turn of the loop writes at most some kilobytes to each client, so no answer delays what else the loop has
// to do. At most 64 clients are served at a time: one more takes the place of the client that has made no
// progress for the longest time. A client that does nothing for five seconds loses its place too.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "agent/Document.h"
#include "agent/HttpAddress.h"
#include "agent/ListenSocket.h"

namespace Agent {

struct HttpRequest {
   std::string path;  // decoded, except an encoded NUL byte
   // The value of a query argument; null when it is not there.
   std::function<char const *(char const * name)> argument;
};

struct HttpAnswer {
   unsigned status = 200;
   std::string contentType = "application/json";
   std::string body;
   // In place of a body. The client sees a document that cannot be continued as a connection that ends early.
   std::unique_ptr<Document> document = nullptr;
};

struct HttpOptions {
   // The TCP address that is served: requests must name it, or this machine, as their host. Web pages whose
   // name was made to lead here get nothing. Empty for a Unix socket, where no such page comes from.
   std::optional<HttpAddress> address = {};
   // Takes a line for the operator.
   std::function<void(std::string const &)> notice = [](std::string const &) {};
};

class HttpServer {
 public:
   // May raise: std::bad_alloc is answered with 503, another exception with 500 and its text.
   using Handler = std::function<HttpAnswer(HttpRequest const &)>;

   // Serves the socket until it goes. Raises SocketError.
   HttpServer(ListenSocket socket, Handler handler, HttpOptions options = {});
   HttpServer(HttpServer const &) = delete;
   HttpServer & operator=(HttpServer const &) = delete;
   ~HttpServer();

   // Whether clients are let in; true at first. Those that come meanwhile wait.
   void acceptingIs(bool accepting);

 private:
   class Daemon;
   std::unique_ptr<Daemon> daemon_;
};

}  // namespace Agent
