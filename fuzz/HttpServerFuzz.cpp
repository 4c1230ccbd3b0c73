// Several clients of the real server, which send in pieces, read slowly, close early and wait too long. Each
// gets a beginning of the answer that its bytes deserve, and all of it if it was patient. In the end the
// server has closed every connection.
//
// A step sends its text as the current client. Then, by its letter: n connects a new client, m eight of them,
// a digit makes an earlier client the current one, r reads some bytes, h ends sending, c closes, t lets a
// second pass, T six, w lets streams go on. Every step ends with a turn of the loop.
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Check.h"
#include "ManualTime.h"
#include "Steps.h"
#include "agent/serve/Http.h"
#include "agent/serve/HttpRefusal.h"
#include "base/UnixAddress.h"
#include "tests/support/TempDir.h"

namespace {

using namespace Agent;

constexpr std::size_t streamPieces = 4;
std::size_t released = 0;  // pieces of each stream that its reader may have

// Pieces of a size; at the end it is broken, or waits for ever, or is over.
class Pieces final : public Document {
 public:
   enum class End { good, broken, pause };

   Pieces(std::size_t count, std::size_t size, End end) : count_{count}, size_{size}, end_{end} {
      all_.push_back(this);
   }
   Pieces(Pieces const &) = delete;
   Pieces & operator=(Pieces const &) = delete;
   ~Pieces() override { std::erase(all_, this); }

   // Those that pause go on.
   static void wakeAll() {
      for (Pieces * const document : all_)
         if (auto const more = std::exchange(document->more_, nullptr))
            more();
   }

   std::string_view next() override {
      std::size_t const most = end_ == End::pause ? std::min(count_, released) : count_;
      if (given_ == most && end_ == End::broken)
         throw std::bad_alloc{};
      if (given_ == most)
         return {};
      text_.assign(size_, static_cast<char>('a' + given_ % 26));
      ++given_;
      return text_;
   }
   bool pauses() const override { return end_ == End::pause; }
   void whenMoreIs(std::function<void()> const & more) override { more_ = more; }

 private:
   static inline std::vector<Pieces *> all_;

   std::function<void()> more_;
   std::size_t count_;
   std::size_t size_;
   End end_;
   std::size_t given_ = 0;
   std::string text_;
};

HttpAnswer documentOf(std::size_t count, std::size_t size, Pieces::End end) {
   return {200, "text/plain", {}, std::make_unique<Pieces>(count, size, end)};
}

HttpAnswer answer(HttpRequest const & request) {
   static std::string const constant(30000, 'k');
   if (request.path == "/big")
      return documentOf(5, 20000, Pieces::End::good);
   if (request.path == "/cut")
      return documentOf(3, 9000, Pieces::End::broken);
   if (request.path == "/stream")
      return documentOf(streamPieces, 700, Pieces::End::pause);
   if (request.path == "/constant")
      return {.constant = constant};
   if (request.path == "/alloc")
      throw std::bad_alloc{};
   if (request.path == "/fail")
      throw std::runtime_error{"it fails"};
   std::string text = request.path + "\n" + request.lastEventId + "\n";
   for (auto const & [name, value] : request.arguments)
      text.append(name).append("=").append(value).append("\n");
   return {200, "text/plain", text};
}

struct Client {
   Base::UniqueFd fd;
   std::string sent = {};
   std::string got = {};
   bool ended = false;     // by the server
   bool isPatient = true;  // else the server may end the connection before the answer
};

// The moment differs between an answer and its reference.
std::string withoutDate(std::string text) {
   constexpr std::string_view field = "\r\nDate: ";
   if (std::size_t const at = text.find(field); at != std::string::npos)
      for (std::size_t i = at + field.size(); i < text.size() && text[i] != '\r'; ++i)
         text[i] = '-';
   return text;
}

std::string whole(HttpReply reply) {
   std::string text;
   try {
      for (std::string_view part = reply.front(); !part.empty(); part = reply.front()) {
         text += part;
         reply.taken(part.size());
      }
   } catch (std::bad_alloc const &) {
      // A document that cannot be continued ends with the connection.
   }
   return text;
}

// What these bytes deserve, read at once; empty while the request is incomplete.
std::string expectedFor(std::string const & sent) {
   static HttpService const service{answer, std::nullopt};
   HttpHeadReader reader;
   std::size_t const before = std::exchange(released, streamPieces);
   std::string text;
   try {
      if (reader.take(sent))
         text = whole(service.reply(reader.head()));
   } catch (HttpRefusal const & refusal) {
      text = whole(HttpReply{answerOf(refusal), false, false});
   } catch (std::bad_alloc const &) {
      text = "HTTP/1.1 503 Service Unavailable\r\n";
   }
   released = before;
   return withoutDate(std::move(text));
}

class Session {
 public:
   void take(Step const & step) {
      send(step.text);
      command(step.command);
      Vorn::Host::turn(0);
   }

   void finish() {
      FUZZ_CHECK(settles());
      readAll();
      for (Client const & client : clients_)
         check(client);
      for (Client & client : clients_)
         shutdown(client.fd.get(), SHUT_WR);
      for (int second = 0; second < 8; ++second) {
         FUZZ_CHECK(settles());
         readAll();
         time_.passes(1);
      }
      for (Client const & client : clients_)
         FUZZ_CHECK(client.ended || !client.fd);
   }

 private:
   void send(std::string_view text) {
      if (clients_.empty())
         connect();
      Client & client = clients_.at(current_);
      if (text.empty() || !client.fd)
         return;
      ssize_t const count = ::send(client.fd.get(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
      client.sent += text.substr(0, count < 0 ? 0 : static_cast<std::size_t>(count));
   }

   void command(char letter) {
      Client & client = clients_.at(current_);
      if (letter >= '0' && letter <= '9')
         current_ = static_cast<std::size_t>(letter - '0') % clients_.size();
      else if (letter == 'n' || letter == 'm')
         for (int more = letter == 'n' ? 1 : 8; more > 0; --more)
            connect();
      else if (letter == 'r')
         read(client, 1000);
      else if (letter == 'h' && client.fd)
         endSending(client);
      else if (letter == 'c')
         client.fd.reset();
      else if (letter == 't' || letter == 'T')
         timePasses(letter == 't' ? 1 : 6);
      else if (letter == 'w')
         release();
   }

   void connect() {
      constexpr std::size_t most = 90;
      if (clients_.size() == most)
         return;
      Client client{Base::UniqueFd{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)}};
      FUZZ_CHECK(::connect(client.fd.get(), address().get(), address().size()) == 0);
      clients_.push_back(std::move(client));
      current_ = clients_.size() - 1;
      // In a crowd the server ends those that it has heard nothing of for the longest time.
      if (clients_.size() > HttpClients::places)
         nobodyIsPatient();
      FUZZ_CHECK(settles());
   }

   static void endSending(Client & client) {
      shutdown(client.fd.get(), SHUT_WR);
      client.isPatient = false;
   }

   void timePasses(Vorn::Seconds span) {
      time_.passes(span);
      nobodyIsPatient();
   }

   void nobodyIsPatient() {
      for (Client & client : clients_)
         client.isPatient = false;
   }

   static void release() {
      released = std::min(released + 1, streamPieces);
      Pieces::wakeAll();
   }

   // False when there is nothing to read.
   static bool read(Client & client, std::size_t most) {
      std::array<char, 65536> buffer;
      if (!client.fd || client.ended)
         return false;
      ssize_t const count = recv(client.fd.get(), buffer.data(), std::min(most, buffer.size()), MSG_DONTWAIT);
      client.ended = count == 0 || (count < 0 && errno != EAGAIN);
      if (count > 0)
         client.got.append(buffer.data(), static_cast<std::size_t>(count));
      return count > 0;
   }

   void readAll() {
      for (bool more = true; more;) {
         more = false;
         for (Client & client : clients_)
            more |= read(client, SIZE_MAX);
         FUZZ_CHECK(settles());
      }
   }

   static void check(Client const & client) {
      std::string const expected = expectedFor(client.sent);
      std::string const got = withoutDate(client.got);
      if (expected.starts_with("HTTP/1.1 503")) {
         FUZZ_CHECK(got.starts_with(expected) || (!client.isPatient && got.empty()) || !client.fd);
         return;
      }
      FUZZ_CHECK(expected.starts_with(got));
      bool const isStream = expected.size() > got.size() && released < streamPieces;
      FUZZ_CHECK(got == expected || !client.isPatient || !client.fd || isStream);
   }

   static std::string const & path() {
      static Support::TempDir const folder;
      static std::string const path = folder.string() + "/s";
      return path;
   }
   static Base::UnixAddress const & address() {
      static Base::UnixAddress const address{path()};
      return address;
   }

   static inline ManualTime & time_ = ManualTime::installed();
   HttpServer server_{ListenSocket::atPath(path()), answer};
   std::vector<Client> clients_;
   std::size_t current_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
   std::string const input(data, data + size);
   released = 0;
   Session session;
   forEachStep(input, [&](Step const & step) { session.take(step); });
   session.finish();
   return 0;
}
