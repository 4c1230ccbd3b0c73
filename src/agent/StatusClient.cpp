#include "agent/StatusClient.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <optional>
#include <string_view>
#include <system_error>

#include "agent/Text.h"

namespace Agent {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t maxHead = std::size_t{64} << 10U;
constexpr char startHint[] =
    "is the agent running? Start it with \"storagedevices agent\", or name its socket with --socket";

// A general-purpose client would bound each wait, not the exchange, and take a full backlog for a
// refusal; both matter when the agent is held up, which is when an operator asks.
class Exchange {
 public:
   Exchange(std::string const & path, StatusLimits const & limits)
       : path_{path}, limits_{limits}, deadline_{Clock::now() + limits.time} {
      sockaddr_un address{};
      address.sun_family = AF_UNIX;
      if (path.empty() || path.size() >= sizeof address.sun_path)
         fail("a socket's path must have 1 to 107 bytes: name another with --socket");
      path.copy(address.sun_path, path.size());
      fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
      if (fd_ < 0)
         fail(std::generic_category().message(errno));
      connectTo(address);
   }
   Exchange(Exchange const &) = delete;
   Exchange & operator=(Exchange const &) = delete;
   ~Exchange() { closeSocket(); }

   [[noreturn]] void fail(std::string const & what) {
      closeSocket();
      throw StatusError{escaped(path_) + ": " + what};
   }

   void send(std::string_view text) {
      while (!text.empty()) {
         boundWaits();
         ssize_t const sent = ::send(fd_, text.data(), text.size(), MSG_NOSIGNAL);
         if (sent < 0 && errno != EINTR)
            failOn(errno);
         text.remove_prefix(sent < 0 ? 0 : static_cast<std::size_t>(sent));
      }
   }

   // Appends what has come; false at the end of the stream.
   bool receive(std::string & text) {
      std::array<char, 65536> buffer;
      for (;;) {
         boundWaits();
         ssize_t const received = recv(fd_, buffer.data(), buffer.size(), 0);
         if (received < 0 && errno == EINTR)
            continue;
         if (received < 0)
            failOn(errno);
         text.append(buffer.data(), static_cast<std::size_t>(received));
         return received > 0;
      }
   }

   StatusLimits const & limits() const { return limits_; }

 private:
   void connectTo(sockaddr_un const & address) {
      for (;;) {
         boundWaits();
         // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the socket interface wants it
         if (connect(fd_, reinterpret_cast<sockaddr const *>(&address), sizeof address) == 0)
            return;
         if (errno != EINTR)
            failOn(errno);
      }
   }

   // What is left of the time limits the next call, a wait for a full backlog included.
   void boundWaits() {
      auto const left =
          std::chrono::duration_cast<std::chrono::microseconds>(deadline_ - Clock::now()).count();
      if (left <= 0)
         failOn(EAGAIN);
      timeval const time{left / 1000000, left % 1000000};
      if (setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time) != 0 ||
          setsockopt(fd_, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time) != 0)
         fail(std::generic_category().message(errno));
   }

   [[noreturn]] void failOn(int error) {
      if (error == ENOENT)
         fail(std::string{"there is no such socket: "} + startHint);
      if (error == ECONNREFUSED)
         fail(std::string{"nobody answers on this socket: "} + startHint);
      if (error == EACCES || error == EPERM)
         fail("permission denied: run this as root or as a user who may use the socket");
      if (error == EAGAIN)
         fail("no whole answer within " + std::to_string(limits_.time.count()) +
              " ms: the agent is held up, see its log");
      if (error == ECONNRESET || error == EPIPE)
         fail("the agent closed the connection without an answer: is it stopping? Try again");
      fail(std::generic_category().message(error) + ": " + startHint);
   }

   void closeSocket() {
      if (fd_ >= 0)
         close(fd_);
      fd_ = -1;
   }

   std::string path_;
   StatusLimits limits_;
   Clock::time_point deadline_;
   int fd_ = -1;
};

struct Head {
   int status = 0;
   std::optional<std::size_t> length;
   bool plain = true;  // the body comes as it is, in no transfer coding
};

bool sameIgnoringCase(std::string_view left, std::string_view right) {
   auto const lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; };
   return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                     [lower](char a, char b) { return lower(a) == lower(b); });
}

std::optional<std::size_t> wholeNumber(std::string_view text) {
   std::size_t value = 0;
   auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
   if (error != std::errc{} || end != text.data() + text.size())
      return std::nullopt;
   return value;
}

// False for a header line that cannot be believed.
bool takeHeaderLine(std::string_view line, Head & head) {
   std::size_t const colon = line.find(':');
   if (colon == std::string_view::npos)
      return false;
   std::string_view const name = line.substr(0, colon);
   std::string_view value = line.substr(colon + 1);
   value.remove_prefix(std::min(value.find_first_not_of(" \t"), value.size()));
   value = value.substr(0, value.find_last_not_of(" \t") + 1);
   if (sameIgnoringCase(name, "Transfer-Encoding"))
      head.plain = false;
   if (!sameIgnoringCase(name, "Content-Length"))
      return true;
   auto const length = wholeNumber(value);
   bool const agrees = !head.length.has_value() || head.length == length;
   head.length = length;
   return length.has_value() && agrees;
}

std::optional<Head> parseHead(std::string_view text) {
   constexpr std::string_view version = "HTTP/1.";
   constexpr std::size_t statusAt = 9;  // after "HTTP/1.1 "
   std::size_t const end = text.find("\r\n");
   std::string_view const first = text.substr(0, end);
   Head head;
   if (!first.starts_with(version) || first.size() < statusAt + 3)
      return std::nullopt;
   auto const status = wholeNumber(first.substr(statusAt, 3));
   if (!status.has_value())
      return std::nullopt;
   head.status = static_cast<int>(*status);
   while (text.find("\r\n") != std::string_view::npos) {
      text.remove_prefix(text.find("\r\n") + 2);
      if (!takeHeaderLine(text.substr(0, text.find("\r\n")), head))
         return std::nullopt;
   }
   return head;
}

// Receives up to the blank line; leaves in `rest` what came of the body.
Head receiveHead(Exchange & exchange, std::string & rest) {
   std::size_t end = std::string::npos;
   bool more = true;
   while (more && end == std::string::npos && rest.size() <= maxHead) {
      more = exchange.receive(rest);
      end = rest.find("\r\n\r\n");
   }
   if (rest.empty())
      exchange.fail("the agent closed the connection without an answer: is it stopping? Try again");
   auto const head =
       end == std::string::npos ? std::nullopt : parseHead(std::string_view{rest}.substr(0, end));
   if (!head.has_value() || !head->plain)
      exchange.fail("the answer is not the agent's: does --socket name the agent's socket?");
   rest.erase(0, end + 4);
   return *head;
}

std::string receiveBody(Exchange & exchange, Head const & head, std::string body) {
   std::size_t const limit = exchange.limits().answer;
   bool more = true;
   while (more && body.size() <= limit && body.size() < head.length.value_or(SIZE_MAX))
      more = exchange.receive(body);
   if (body.size() > limit || head.length.value_or(0) > limit)
      exchange.fail("the answer is larger than " + std::to_string(limit) + " bytes");
   if (body.size() < head.length.value_or(0))
      exchange.fail("the answer ended too early: is the agent stopping? Try again");
   body.resize(head.length.value_or(body.size()));
   return body;
}

}  // namespace

std::string askAgent(std::string const & socketPath, std::string const & resource,
                     StatusLimits const & limits) {
   Exchange exchange{socketPath, limits};
   exchange.send("GET " + resource + " HTTP/1.0\r\nHost: localhost\r\nConnection: close\r\n\r\n");
   std::string body;
   Head const head = receiveHead(exchange, body);
   if (head.status != 200)
      exchange.fail("the agent answered " + std::to_string(head.status) + " to " + escaped(resource) +
                    ": is it of the same version as this program?");
   return receiveBody(exchange, head, std::move(body));
}

}  // namespace Agent
