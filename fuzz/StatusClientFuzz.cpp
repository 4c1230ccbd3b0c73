// Whatever answers on the agent's socket, in whatever parts, the command gets the same: the body of a good
// answer, or one line that names the socket. A plain answer with a length gives just its body.
#include <sys/socket.h>

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "Check.h"
#include "base/Text.h"
#include "base/UnixAddress.h"
#include "command/StatusClient.h"
#include "tests/support/TempDir.h"

namespace {

// Answers one client after another with the text of the moment, in parts of a size.
class Server {
 public:
   Server() {
      Base::UnixAddress const address{path()};
      FUZZ_CHECK(bind(listening_.get(), address.get(), address.size()) == 0);
      FUZZ_CHECK(listen(listening_.get(), 4) == 0);
      std::thread{[this] { serve(); }}.detach();
   }

   std::string path() const { return folder_.string() + "/s"; }
   // Before a client connects.
   void answerIs(std::string text, std::size_t part) {
      std::lock_guard const lock{mutex_};
      text_ = std::move(text);
      part_ = part;
   }

 private:
   [[noreturn]] void serve() {
      for (;;) {
         Base::UniqueFd const client{accept(listening_.get(), nullptr, nullptr)};
         std::lock_guard const lock{mutex_};
         // Bytes that nobody has read would reset the connection.
         char request[512];
         recv(client.get(), request, sizeof request, 0);
         std::string_view rest = text_;
         while (!rest.empty()) {
            send(client.get(), rest.data(), std::min(part_, rest.size()), MSG_NOSIGNAL);
            rest.remove_prefix(std::min(part_, rest.size()));
         }
      }
   }

   Support::TempDir folder_;
   Base::UniqueFd listening_{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
   std::mutex mutex_;
   std::string text_;
   std::size_t part_ = 1;
};

// Never destroyed: its thread waits for clients until the process ends.
Server & server() {
   static Server & server = *new Server;
   return server;
}

constexpr std::size_t mostBody = 2000;

struct Outcome {
   std::optional<std::string> body;
   std::string error;
   bool operator==(Outcome const &) const = default;
};

Outcome outcomeOf(std::string const & answer, std::size_t part) {
   server().answerIs(answer, part);
   try {
      return {Command::askAgent(server().path(), "/api/v1/state", {.answer = mostBody}), {}};
   } catch (Command::StatusError const & error) {
      return {std::nullopt, error.what()};
   }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
   std::string const input(data, data + size);
   Outcome const whole = outcomeOf(input, size + 1);
   FUZZ_CHECK(whole.body.has_value() == whole.error.empty());
   FUZZ_CHECK(!whole.body || (whole.body->size() <= mostBody && input.starts_with("HTTP/1.")));
   FUZZ_CHECK(whole.body || whole.error.starts_with(server().path() + ": "));
   FUZZ_CHECK(Base::escaped(whole.error) == whole.error);
   constexpr std::size_t smallest = 3;
   FUZZ_CHECK(outcomeOf(input, std::max(smallest, size / 9)) == whole);
   if (size <= mostBody)
      FUZZ_CHECK(outcomeOf("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n" + input,
                           size + 99)
                     .body == input);
   return 0;
}
