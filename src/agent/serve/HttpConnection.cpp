#include "agent/serve/HttpConnection.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
#include <utility>

#include "agent/serve/HttpRefusal.h"
#include "runtime/host/TimeSource.h"

namespace Agent {

namespace {

// Real seconds.
constexpr Vorn::Seconds usualPatience = 5;
constexpr Vorn::Seconds closingPatience = 1;

// Bytes that all clients together get in a turn of the loop: at most a block, and at least a piece each.
constexpr std::size_t turnBytes = 32768;

bool isTemporary(int error) {
   return error == EAGAIN || error == EINTR;
}

}  // namespace

HttpConnection::HttpConnection(Base::UniqueFd & socket, HttpService const & service, Ended const & ended)
    : service_{service}, ended_{ended} {
   reactor_.notifierIs(descriptor_);
   reactor_.on<&HttpConnection::handleReadable>(descriptor_->readableCount, *this);
   reactor_.on<&HttpConnection::handleWritable>(descriptor_->writableCount, *this);
   reactor_.hasNotificationActiveIs(true);
   stateIs(State::reading);
   descriptor_->descriptorIs(socket.get());
   socket_ = std::move(socket);
}

HttpConnection::~HttpConnection() {
   answering_ -= state_ == State::answering ? 1 : 0;
   descriptor_->descriptorIs(-1);
}

// Ends the connection when there is no memory for the step, or the answer cannot be continued.
void HttpConnection::orEnd(void (HttpConnection::*step)()) {
   try {
      (this->*step)();
   } catch (std::exception const &) {
      end();
   }
}

void HttpConnection::read() {
   std::array<char, 4096> bytes;
   ssize_t const count = recv(socket_.get(), bytes.data(), bytes.size(), 0);
   if (count < 0 && isTemporary(errno))
      return;
   if (count <= 0)
      end();
   else if (state_ == State::reading)
      receive({bytes.data(), static_cast<std::size_t>(count)});
}

void HttpConnection::receive(std::string_view bytes) {
   try {
      reply_ = replyTo(bytes);
   } catch (std::exception const &) {
      refuseForMemory(socket_.get());
      return close();
   }
   if (reply_) {
      stateIs(State::answering);
      write();
   }
}

// Nothing while the request is incomplete.
std::optional<HttpReply> HttpConnection::replyTo(std::string_view bytes) {
   try {
      if (!reader_.take(bytes))
         return std::nullopt;
   } catch (HttpRefusal const & refusal) {
      return HttpReply{answerOf(refusal), false, false};
   }
   return service_.reply(reader_.head());
}

void HttpConnection::write() {
   std::size_t const share = std::min(HttpReply::blockBytes, turnBytes / answering_);
   for (std::size_t sent = 0; sent < share;) {
      std::string_view const bytes = reply_->front();
      if (bytes.empty())
         return restOrClose();
      ssize_t const count = send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (count < 0)
         return isTemporary(errno) ? void() : end();
      reply_->taken(static_cast<std::size_t>(count));
      sent += static_cast<std::size_t>(count);
      progress_ = Vorn::System::currentTime();
   }
}

void HttpConnection::wait() {
   Vorn::Seconds const longest = progress_ + patience();
   if (Vorn::System::currentTime() < longest)
      clock_.timeMinIs(longest);
   else
      end();
}

void HttpConnection::restOrClose() {
   if (reply_->restsUntil([this] { stateIs(State::answering); }))
      stateIs(State::resting);
   else
      close();
}

void HttpConnection::close() {
   reply_.reset();
   shutdown(socket_.get(), SHUT_WR);
   stateIs(State::closing);
}

void HttpConnection::stateIs(State state) {
   answering_ -= state_ == State::answering ? 1 : 0;
   answering_ += state == State::answering ? 1 : 0;
   state_ = state;
   progress_ = Vorn::System::currentTime();
   clock_.timeMinIs(progress_ + patience());
   descriptor_->notifyOnReadableIs(state != State::answering);
   descriptor_->notifyOnWritableIs(state == State::answering);
}

Vorn::Seconds HttpConnection::patience() const {
   if (state_ == State::resting)
      return Vorn::Seconds::infinity();
   return Vorn::Host::timeSource().spanOf(state_ == State::closing ? closingPatience : usualPatience);
}

}  // namespace Agent
