// A small HTTP server on the agent's own loop: GET and HEAD, no thread.
//
// A turn of the loop writes at most some kilobytes to each client, so no answer delays what else the loop has
// to do. At most 64 clients are served at a time: one more takes the place of the client that has made no
// progress for the longest time. A client that does nothing for five seconds loses its place too.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "agent/serve/HttpClients.h"
#include "agent/serve/HttpService.h"
#include "agent/serve/ListenSocket.h"
#include "base/HttpAddress.h"
#include "base/UniqueFd.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/FileDescriptor.h"
#include "runtime/Vorn/Notifiee.h"

namespace Agent {

struct HttpOptions {
   // The TCP address that is served: requests must name it, or this machine, as their host. Web pages whose
   // name was made to lead here get nothing. Empty for a Unix socket, where no such page comes from.
   std::optional<HttpAddress> address = {};
   // Takes a line for the operator.
   std::function<void(std::string const &)> notice = [](std::string const &) {};
};

class HttpServer {
 public:
   using Handler = HttpService::Handler;

   // Serves the socket until it goes.
   HttpServer(ListenSocket socket, Handler handler, HttpOptions options = {});
   HttpServer(HttpServer const &) = delete;
   HttpServer & operator=(HttpServer const &) = delete;
   ~HttpServer();

   // Whether clients are let in; true at first. Those that come meanwhile wait.
   void acceptingIs(bool accepting) { listening_->notifyOnReadableIs(accepting); }

 private:
   void handleWaiting();
   void handlePauseOver();

   UniqueFd accepted() const;
   bool acceptOne();
   void serve(UniqueFd & client);
   bool makeRoom(int error);
   bool refuseOne();

   ListenSocket socket_;
   std::function<void(std::string const &)> notice_;
   HttpClients clients_;
   UniqueFd spare_;  // is let go to refuse a client for whom there is no other
   bool reportedScarcity_ = false;
   Pelm::Ptr<Vorn::FileDescriptor> listening_ = Pelm::make<Vorn::FileDescriptor>("http listening");
   Vorn::Clock::Notifiee<&HttpServer::handlePauseOver> pauseClock_{*this, Vorn::Seconds::infinity()};
   Vorn::NotifieeConst listeningReactor_;
};

}  // namespace Agent
