// A small HTTP server on the agent's own loop: GET and HEAD, no thread.
//
// A turn of the loop writes some kilobytes at most to each client, so no answer delays the rest of the loop.
// At most 64 clients are served at a time. A further one replaces the client that has made no progress for
// the longest time. A client without progress for five seconds is ended.
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
   // The served TCP address; nothing for a Unix socket. A request must name it, or this machine, as its host.
   // So a web page cannot ask under another name that resolves to this machine.
   std::optional<Base::HttpAddress> address = {};
   // Reports a line to the operator.
   std::function<void(std::string const &)> notice = [](std::string const &) {};
};

class HttpServer {
 public:
   using Handler = HttpService::Handler;

   // Serves the socket until its destruction.
   HttpServer(ListenSocket socket, Handler handler, HttpOptions options = {});
   ~HttpServer();

   // Whether clients are accepted; true at first. Meanwhile new clients wait.
   void acceptingIs(bool accepting) { listening_->notifyOnReadableIs(accepting); }

 private:
   void handleWaiting();
   void handlePauseOver();

   Base::UniqueFd accepted() const;
   bool acceptOne();
   void serve(Base::UniqueFd & client);
   bool makeRoom(int error);
   bool refuseOne();

   ListenSocket socket_;
   std::function<void(std::string const &)> notice_;
   HttpClients clients_;
   Base::UniqueFd spare_;  // closed to accept and refuse a client when there is no other descriptor
   bool reportedScarcity_ = false;
   Pelm::Ptr<Vorn::FileDescriptor> listening_ = Pelm::make<Vorn::FileDescriptor>("http listening");
   Vorn::Clock::Notifiee<&HttpServer::handlePauseOver> pauseClock_{*this, Vorn::Seconds::infinity()};
   Vorn::NotifieeConst listeningReactor_;
};

}  // namespace Agent
