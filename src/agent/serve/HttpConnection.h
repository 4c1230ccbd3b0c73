// A client's connection to the HTTP server, for one request and its answer:
//
//    reading    its request comes, until the head is complete or refused
//    answering  the answer goes out, a block in a turn of the loop
//    closing    all is sent. What the client still sends is dropped until it closes its end too: a socket
//    that is
//               closed with bytes unread is reset, and a reset may overtake the answer
//
// It ends with the client, and when nothing happens for too long: a request must be complete after five
// seconds, an answer may rest for as long, and the end of the client is awaited for one.
#pragma once

#include <functional>
#include <optional>
#include <string_view>

#include "agent/serve/HttpHead.h"
#include "agent/serve/HttpReply.h"
#include "agent/serve/HttpService.h"
#include "base/UniqueFd.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/FileDescriptor.h"
#include "runtime/Vorn/Notifiee.h"
#include "runtime/Vorn/Seconds.h"

namespace Agent {

class HttpConnection {
 public:
   // Called once it has ended; destroys it.
   using Ended = std::function<void(HttpConnection &)>;

   // Service and `ended` must outlive it. Takes over the socket, a non-blocking one, unless it raises
   // std::bad_alloc.
   HttpConnection(UniqueFd & socket, HttpService const & service, Ended const & ended);
   HttpConnection(HttpConnection const &) = delete;
   HttpConnection & operator=(HttpConnection const &) = delete;
   ~HttpConnection();

   // Takes what has come already. It may have ended then.
   void start() { handleReadable(); }

   // When a byte of its answer was taken last, or its request begun; 0 for one that has its answer, with
   // which nothing is lost.
   Vorn::Seconds progress() const { return state_ == State::closing ? 0 : progress_; }

 private:
   enum class State { reading, answering, closing };

   void handleReadable() { orEnd(&HttpConnection::read); }
   void handleWritable() { orEnd(&HttpConnection::write); }
   void handleTimeout() { orEnd(&HttpConnection::wait); }

   // Each may end it, as its last step.
   void orEnd(void (HttpConnection::*step)());
   void read();
   void receive(std::string_view bytes);
   void write();
   void wait();
   void close();
   void end() { ended_(*this); }

   std::optional<HttpReply> replyTo(std::string_view bytes);
   void stateIs(State state);
   Vorn::Seconds patience() const;

   UniqueFd socket_;
   HttpService const & service_;
   Ended const & ended_;
   State state_ = State::reading;
   HttpHeadReader reader_;
   std::optional<HttpReply> reply_;
   Vorn::Seconds progress_ = 0;  // when a byte of the answer was taken last, or the state begun
   Pelm::Ptr<Vorn::FileDescriptor> descriptor_ = Pelm::make<Vorn::FileDescriptor>("http client");
   Vorn::Clock::Notifiee<&HttpConnection::handleTimeout> clock_{*this, Vorn::Seconds::infinity()};
   Vorn::NotifieeConst reactor_;
};

}  // namespace Agent
