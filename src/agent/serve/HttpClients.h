// The clients of an HTTP server, and the choice of the one that makes room for another.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "agent/serve/HttpConnection.h"
#include "agent/serve/HttpService.h"
#include "base/UniqueFd.h"

namespace Agent {

class HttpClients {
 public:
   static constexpr std::size_t places = 64;

   explicit HttpClients(HttpService service);
   HttpClients(HttpClients const &) = delete;
   HttpClients & operator=(HttpClients const &) = delete;

   // Ends the oldest client first if all places are occupied. Takes ownership of the non-blocking socket,
   // unless it raises std::bad_alloc.
   void add(Base::UniqueFd & socket);

   // Ends the client that has made no progress for the longest time. False when there is none.
   bool endOldest();

 private:
   void remove(HttpConnection const & connection);

   HttpService service_;
   HttpConnection::Ended ended_ = [this](HttpConnection & connection) { remove(connection); };
   std::vector<std::unique_ptr<HttpConnection>> connections_;  // in the order of their arrival
};

}  // namespace Agent
