// A client's connection to the HTTP server, for one request and its answer:
//
//    reading    the request arrives, until the head is complete or refused
//    answering  the answer is sent: in each turn of the loop a block, or a share of one in a crowd
//    resting    the answer pauses, and goes on when its document has more; the client may go
//    closing    all is sent; the rest of the request is dropped until the client closes its end too
//
// A socket that is closed with bytes unread is reset, and a reset may overtake the answer. So the connection
// does not close first. It ends with the client or at a time limit. That is five seconds for the whole
// request, five without progress of the answer, and one until the client closes. A client that ends its half
// while the answer pauses has gone.
#pragma once

#include <cstddef>
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
   // Called when the connection has ended; destroys it.
   using Ended = std::function<void(HttpConnection &)>;

   // Service and `ended` must outlive it. Takes ownership of the non-blocking socket, unless it raises
   // std::bad_alloc.
   HttpConnection(Base::UniqueFd & socket, HttpService const & service, Ended const & ended);
   ~HttpConnection();

   // Reads the bytes that have arrived. The connection may have ended on return.
   void start() { handleReadable(); }

   // Framework time of the latest byte sent, or of the request's begin. 0 after the whole answer: ending such
   // a connection loses nothing.
   Vorn::Seconds progress() const { return state_ == State::closing ? 0 : progress_; }

 private:
   enum class State { reading, answering, resting, closing };

   void handleReadable() { orEnd(&HttpConnection::read); }
   void handleWritable() { orEnd(&HttpConnection::write); }
   void handleTimeout() { orEnd(&HttpConnection::wait); }

   // Each may end the connection, as its last step.
   void orEnd(void (HttpConnection::*step)());
   void read();
   void receive(std::string_view bytes);
   void write();
   void wait();
   void restOrClose();
   void close();
   void end() { ended_(*this); }

   std::optional<HttpReply> replyTo(std::string_view bytes);
   void stateIs(State state);
   Vorn::Seconds patience() const;

   inline static std::size_t answering_ = 0;  // connections of all servers

   Base::UniqueFd socket_;
   HttpService const & service_;
   Ended const & ended_;
   State state_ = State::reading;
   HttpHeadReader reader_;
   std::optional<HttpReply> reply_;
   Vorn::Seconds progress_ = 0;  // time of the latest byte sent, or of the state's begin
   Pelm::Ptr<Vorn::FileDescriptor> descriptor_ = Pelm::make<Vorn::FileDescriptor>("http client");
   Vorn::Clock::Notifiee<&HttpConnection::handleTimeout> clock_{*this, Vorn::Seconds::infinity()};
   Vorn::NotifieeConst reactor_;
};

}  // namespace Agent
