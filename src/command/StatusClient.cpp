#include "command/StatusClient.h"

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

#include "base/Text.h"

namespace Agent {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t maxHead = std::size_t{64} << 10U;
constexpr char startHint[] =
    "is the agent running? Start it with \"storagedevices agent\", or name its socket with --socket";

constexpr char notTheAgent[] = "the answer is not the agent's: does --socket name the agent's socket?";
constexpr char tooEarly[] = "the answer ended too early: is the agent stopping? Try again";

// A general-purpose client would bound each wait, not the exchange, and take a full backlog for a
// refusal; both matter when the agent is held up, which is when an operator asks.
class Exchange {
 public:
   Exchange(std::string const & path, std::chrono::milliseconds time)
       : path_{path}, time_{time}, deadline_{Clock::now() + time} {
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

   // Gives the next waits the whole time again.
   void startAfresh() { deadline_ = Clock::now() + time_; }

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
         fail("no whole answer within " + std::to_string(time_.count()) +
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
   std::chrono::milliseconds time_;
   Clock::time_point deadline_;
   int fd_ = -1;
};

struct Head {
   int status = 0;
   std::optional<std::size_t> length;
   bool chunked = false;
   bool known = true;  // false: the body comes in a coding that is not known here
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
   if (sameIgnoringCase(name, "Transfer-Encoding")) {
      head.known = !head.chunked && sameIgnoringCase(value, "chunked");
      head.chunked = true;
   }
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
   if (!head.has_value() || !head->known)
      exchange.fail(notTheAgent);
   rest.erase(0, end + 4);
   return *head;
}

using Take = std::function<void(std::string_view)>;

// The bytes of a body that is sent in chunks, each behind its size.
class Chunks {
 public:
   explicit Chunks(Exchange & exchange) : exchange_{exchange} {}

   bool ended() const { return ended_; }

   // Takes what is complete off the front of what has come.
   void decode(std::string & coded, Take const & take) {
      std::size_t at = 0;
      while (!ended_ && (left_ > 0 ? takeData(coded, at, take) : takeSize(coded, at)))
         continue;
      coded.erase(0, at);
   }

 private:
   // False when more must come first.
   bool takeData(std::string_view coded, std::size_t & at, Take const & take) {
      std::string_view const part = coded.substr(at, left_);
      take(part);
      at += part.size();
      left_ -= part.size();
      return left_ == 0;
   }

   bool takeSize(std::string_view coded, std::size_t & at) {
      constexpr std::size_t longestLine = 256;
      // The data of a chunk ends with a line end of its own.
      std::size_t const start = first_ ? at : at + 2;
      std::size_t const end = coded.find("\r\n", start);
      if (end == std::string_view::npos) {
         if (coded.size() > start + longestLine)
            exchange_.fail(notTheAgent);
         return false;
      }
      auto const [stop, error] = std::from_chars(coded.data() + start, coded.data() + end, left_, 16);
      bool const isSize = error == std::errc{} && (stop == coded.data() + end || *stop == ';');
      if (!isSize || (!first_ && coded.substr(at, 2) != "\r\n"))
         exchange_.fail(notTheAgent);
      first_ = false;
      ended_ = left_ == 0;
      at = end + 2;
      return true;
   }

   Exchange & exchange_;
   std::size_t left_ = 0;
   bool first_ = true;
   bool ended_ = false;
};

// Receives the body, of which `rest` has come; `more` is called before each further part.
void receiveChunks(Exchange & exchange, std::string & rest, Take const & take,
                   std::function<void()> const & more) {
   Chunks chunks{exchange};
   for (chunks.decode(rest, take); !chunks.ended(); chunks.decode(rest, take)) {
      more();
      if (!exchange.receive(rest))
         exchange.fail(tooEarly);
   }
}

void receivePlain(Exchange & exchange, std::optional<std::size_t> length, std::string & rest,
                  Take const & take, std::function<void()> const & more) {
   std::size_t left = length.value_or(SIZE_MAX);
   for (bool open = true; open;) {
      rest.resize(std::min(rest.size(), left));
      left -= rest.size();
      take(rest);
      rest.clear();
      if (left == 0)
         return;
      more();
      open = exchange.receive(rest);
   }
   if (length)
      exchange.fail(tooEarly);
}

Head ask(Exchange & exchange, std::string const & resource, std::string & rest) {
   exchange.send("GET " + resource + " HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
   Head const head = receiveHead(exchange, rest);
   if (head.status != 200)
      exchange.fail("the agent answered " + std::to_string(head.status) + " to " + escaped(resource) +
                    ": is it of the same version as this program?");
   return head;
}

void receiveBody(Exchange & exchange, Head const & head, std::string & rest, Take const & take,
                 std::function<void()> const & more) {
   if (head.chunked)
      receiveChunks(exchange, rest, take, more);
   else
      receivePlain(exchange, head.length, rest, take, more);
}

}  // namespace

std::string askAgent(std::string const & socketPath, std::string const & resource,
                     StatusLimits const & limits) {
   Exchange exchange{socketPath, limits.time};
   std::string rest;
   Head const head = ask(exchange, resource, rest);
   std::string body;
   auto const bound = [&](std::size_t size) {
      if (size > limits.answer)
         exchange.fail("the answer is larger than " + std::to_string(limits.answer) + " bytes");
   };
   bound(head.length.value_or(0));
   auto const take = [&](std::string_view part) {
      bound(body.size() + part.size());
      body += part;
   };
   receiveBody(exchange, head, rest, take, [] {});
   return body;
}

void streamFromAgent(std::string const & socketPath, std::string const & resource, Take const & take,
                     std::chrono::milliseconds wait) {
   Exchange exchange{socketPath, wait};
   std::string rest;
   Head const head = ask(exchange, resource, rest);
   receiveBody(exchange, head, rest, take, [&] { exchange.startAfresh(); });
}

}  // namespace Agent
