#include "command/StatusClient.h"

#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <boost/beast/http/basic_parser.hpp>

#include <array>
#include <cerrno>
#include <cstdint>
#include <string_view>
#include <system_error>
#include <utility>

#include "base/Text.h"
#include "base/UniqueFd.h"
#include "base/UnixAddress.h"

namespace Command {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t maxHead = 65536;  // bytes
constexpr int answered = 200;
constexpr char startHint[] =
    "is the agent running? Start it with \"storagedevices agent\", or name its socket with --socket";

constexpr char notTheAgent[] = "the answer is not the agent's: does --socket name the agent's socket?";
constexpr char closedAtOnce[] =
    "the agent closed the connection without an answer: is it stopping? Try again";
constexpr char tooEarly[] = "the answer ended too early: is the agent stopping? Try again";

// The connection. Unlike with a general-purpose client, the limit is for the whole exchange, not for each
// wait. A full backlog is no refusal either: the connection waits. An operator needs both when the agent
// stalls.
class Exchange {
 public:
   Exchange(std::string const & path, std::chrono::milliseconds time)
       : path_{path}, time_{time}, deadline_{Clock::now() + time} {
      if (path.empty() || path.size() > Base::UnixAddress::longestPath)
         fail("a socket's path must have 1 to 107 bytes: name another with --socket");
      fd_.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
      if (!fd_)
         fail(std::generic_category().message(errno));
      connectTo(Base::UnixAddress{path});
   }

   [[noreturn]] void fail(std::string const & what) const {
      throw StatusError{Base::escaped(path_) + ": " + what};
   }

   void send(std::string_view text) {
      while (!text.empty()) {
         boundWaits();
         ssize_t const sent = ::send(fd_.get(), text.data(), text.size(), MSG_NOSIGNAL);
         if (sent < 0 && errno != EINTR)
            failOn(errno);
         text.remove_prefix(sent < 0 ? 0 : static_cast<std::size_t>(sent));
      }
   }

   // Appends the bytes that have arrived; false at the end of the stream.
   bool receive(std::string & text) {
      std::array<char, 65536> buffer;
      for (;;) {
         boundWaits();
         ssize_t const received = recv(fd_.get(), buffer.data(), buffer.size(), 0);
         if (received < 0 && errno == EINTR)
            continue;
         if (received < 0)
            failOn(errno);
         text.append(buffer.data(), static_cast<std::size_t>(received));
         return received > 0;
      }
   }

   // Called before the request is sent: whoever answers it has lived since then, so the handle is its own.
   AnsweringProcess peer() const {
      ucred credentials{};
      socklen_t size = sizeof credentials;
      if (getsockopt(fd_.get(), SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0 || credentials.pid <= 0)
         return AnsweringProcess{};
      return {credentials.pid, Base::UniqueFd{static_cast<int>(syscall(SYS_pidfd_open, credentials.pid, 0))}};
   }

   // Gives the next waits the whole time again.
   void restartTime() { deadline_ = Clock::now() + time_; }

 private:
   void connectTo(Base::UnixAddress const & address) {
      for (;;) {
         boundWaits();
         if (connect(fd_.get(), address.get(), address.size()) == 0)
            return;
         if (errno != EINTR)
            failOn(errno);
      }
   }

   // The next call may take the rest of the time, a wait for a full backlog included.
   void boundWaits() {
      auto const left =
          std::chrono::duration_cast<std::chrono::microseconds>(deadline_ - Clock::now()).count();
      if (left <= 0)
         failOn(EAGAIN);
      timeval const time{left / 1000000, left % 1000000};
      if (setsockopt(fd_.get(), SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time) != 0 ||
          setsockopt(fd_.get(), SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time) != 0)
         fail(std::generic_category().message(errno));
   }

   [[noreturn]] void failOn(int error) {
      if (error == ENOENT)
         fail(std::string{"the socket does not exist: "} + startHint);
      if (error == ECONNREFUSED)
         fail(std::string{"no program answers on this socket: "} + startHint);
      if (error == EACCES || error == EPERM)
         fail("permission denied: run this as root, or as a member of the group in status.socket_group");
      if (error == EAGAIN)
         fail("no complete answer within " + std::to_string(time_.count()) +
              " ms: the agent is stalled, see its log");
      if (error == ECONNRESET || error == EPIPE)
         fail(closedAtOnce);
      fail(std::generic_category().message(error) + ": " + startHint);
   }

   std::string path_;
   std::chrono::milliseconds time_;
   Clock::time_point deadline_;
   Base::UniqueFd fd_;
};

using Take = std::function<void(std::string_view)>;

namespace http = boost::beast::http;
using boost::beast::error_code;
using boost::beast::string_view;

// Hands the body over as it is parsed, whether it has a length, comes in chunks or ends with the connection.
class AnswerParser final : public http::basic_parser<false> {
 public:
   explicit AnswerParser(Take take) : take_{std::move(take)} {
      header_limit(maxHead);
      body_limit(UINT64_MAX);  // none is zero to this version
      eager(true);
   }

   int status() const { return status_; }

 private:
   void on_request_impl(http::verb, string_view, string_view, int, error_code &) override {}
   void on_response_impl(int status, string_view, int, error_code &) override { status_ = status; }
   void on_field_impl(http::field field, string_view, string_view value, error_code & error) override {
      if (field == http::field::transfer_encoding && !boost::beast::iequals(value, "chunked"))
         error = http::error::bad_transfer_encoding;
   }
   // The body of an answer that reports an error is not passed on.
   void on_header_impl(error_code & error) override {
      if (status_ != answered)
         error = http::error::end_of_stream;
   }
   void on_body_init_impl(boost::optional<std::uint64_t> const &, error_code &) override {}
   std::size_t on_body_impl(string_view part, error_code &) override {
      take_({part.data(), part.size()});
      return part.size();
   }
   void on_chunk_header_impl(std::uint64_t, string_view, error_code &) override {}
   std::size_t on_chunk_body_impl(std::uint64_t, string_view part, error_code & error) override {
      return on_body_impl(part, error);
   }
   void on_finish_impl(error_code &) override {}

   Take take_;
   int status_ = 0;
};

// At the end of the stream; an answer without a length is complete then.
void endAnswer(Exchange & exchange, AnswerParser & parser) {
   error_code error;
   if (!parser.got_some())
      exchange.fail(closedAtOnce);
   parser.put_eof(error);
   if (error)
      exchange.fail(parser.is_header_done() ? tooEarly : notTheAgent);
}

// Parses as much of the text as is complete and removes it. `resource` is the one that was asked for.
void parse(Exchange & exchange, AnswerParser & parser, std::string & text, std::string const & resource) {
   error_code error;
   std::size_t const parsed = parser.put(boost::asio::const_buffer{text.data(), text.size()}, error);
   if (error == http::error::end_of_stream)
      exchange.fail("the agent answered " + std::to_string(parser.status()) + " to " +
                    Base::escaped(resource) + ": is it of the same version as this program?");
   if (error && error != http::error::need_more)
      exchange.fail(notTheAgent);
   text.erase(0, parsed);
}

// `more` is called before each further part of the body.
void receiveAnswer(Exchange & exchange, AnswerParser & parser, std::string const & resource,
                   std::function<void()> const & more) {
   exchange.send("GET " + resource + " HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
   std::string text;
   while (!parser.is_done()) {
      if (parser.is_header_done())
         more();
      if (exchange.receive(text))
         parse(exchange, parser, text, resource);
      else
         endAnswer(exchange, parser);
   }
}

// The body of the answer, of at most that many bytes.
std::string receiveBody(Exchange & exchange, std::string const & resource, StatusLimits const & limits) {
   std::string body;
   auto const bound = [&](std::uint64_t size) {
      if (size > limits.answer)
         exchange.fail("the answer is larger than " + std::to_string(limits.answer) + " bytes");
   };
   AnswerParser parser{[&](std::string_view part) {
      bound(body.size() + part.size());
      body += part;
   }};
   receiveAnswer(exchange, parser, resource, [&] { bound(parser.content_length().value_or(0)); });
   return body;
}

}  // namespace

std::string askAgent(std::string const & socketPath, std::string const & resource,
                     StatusLimits const & limits) {
   Exchange exchange{socketPath, limits.time};
   return receiveBody(exchange, resource, limits);
}

AnswerOfProcess askAgentProcess(std::string const & socketPath, std::string const & resource) {
   StatusLimits const limits;
   Exchange exchange{socketPath, limits.time};
   AnsweringProcess process = exchange.peer();
   return {receiveBody(exchange, resource, limits), std::move(process)};
}

void streamFromAgent(std::string const & socketPath, std::string const & resource, Take const & take,
                     std::chrono::milliseconds wait) {
   Exchange exchange{socketPath, wait};
   AnswerParser parser{take};
   receiveAnswer(exchange, parser, resource, [&] { exchange.restartTime(); });
}

}  // namespace Command
