// Readers of the agent's event stream come with any Last-Event-ID, read slowly, and go. A naive model of the
// kept messages says where each begins and what it gets: every later message once, in order, up to the latest
// one. Only a reader that is overtaken by the oldest kept message loses its stream. Other resources answer
// whatever is asked.
//
// A step's letter: l logs as many messages as its text says, L 1,300; e opens a stream with the text as
// Last-Event-ID, a with the text as the argument "after"; a digit makes that reader the current one; r has it
// read a piece, R all; d drops it; t lets a second pass; g asks for the text as a resource.
#include <rapidjson/document.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Check.h"
#include "ManualTime.h"
#include "Steps.h"
#include "agent/StorageAgent.h"
#include "agent/logs/LogSink.h"
#include "agent/serve/HttpRefusal.h"
#include "tests/support/TempDir.h"

namespace {

using namespace Agent;

constexpr Vorn::LogDescriptor lamp{"LAMP", "lamp %s is out", "It is dark.", "Change it.", 4};
Vorn::LogHandle logLamp{lamp, 0, 1, 0, 0};  // no limit of rate

class NoSink final : public LogSink {
 public:
   char const * name() const override { return "nothing"; }
   std::string formOf(LogEntry const & /*entry*/) const override { return {}; }
   Outcome send(std::string_view /*line*/) override { return Outcome::sent; }
   int descriptor() const override { return -1; }
   std::string absence() const override { return {}; }
};

Config configIn(Support::TempDir const & folder) {
   Config config;
   config.status.socket = folder.string() + "/status";
   config.appliance.mountSourceDir = folder.string() + "/mount-source";
   config.history.file = "";
   config.kernelMessages.forwardKmsg = false;
   return config;
}

// The number of an id, by hand; 0 for none; empty: no number of 64 bits.
std::optional<std::uint64_t> numberIn(std::string_view id) {
   std::uint64_t number = 0;
   for (char const c : id) {
      std::uint64_t const next = number * 10 + static_cast<std::uint64_t>(c - '0');
      if (c < '0' || c > '9' || number > UINT64_MAX / 10 || next < number * 10)
         return std::nullopt;
      number = next;
   }
   return number;
}

// The server lets no NUL through.
std::string_view idIn(Step const & step) {
   return step.text.substr(0, step.text.find('\0'));
}

class Reader {
 public:
   Reader(std::unique_ptr<Document> stream, std::uint64_t next) : stream_{std::move(stream)}, next_{next} {}

   // Reads a piece. False at a pause, and at the end.
   bool read(std::uint64_t oldest, std::uint64_t last) {
      std::string const piece{stream_->next()};
      for (std::size_t at = 0; at < piece.size();)
         at = takeEvent(piece, at, last);
      if (!piece.empty())
         return true;
      bool const isOvertaken = next_ <= last && next_ < oldest;
      FUZZ_CHECK(stream_->pauses() == !isOvertaken);
      FUZZ_CHECK(isOvertaken || next_ == last + 1);
      return false;
   }

 private:
   // Answers where the next event begins.
   std::size_t takeEvent(std::string const & piece, std::size_t at, std::uint64_t last) {
      std::size_t const end = piece.find("\n\n", at);
      FUZZ_CHECK(end != std::string::npos);
      std::string const event = piece.substr(at, end - at);
      if (event != ":") {
         std::string const number = std::to_string(next_);
         FUZZ_CHECK(event.starts_with("id: " + number + "\nevent: message\ndata: {"));
         FUZZ_CHECK(event.find("lamp " + number + " is out") != std::string::npos && next_ <= last);
         ++next_;
      }
      return end + 2;
   }

   std::unique_ptr<Document> stream_;
   std::uint64_t next_;  // the message that it gets next
};

class Session {
 public:
   void take(Step const & step) {
      constexpr std::uint64_t most = 2100;
      switch (step.command) {
         case 'l':
            return log(std::min(numberIn(step.text).value_or(1), most));
         case 'L':
            return log(1300);
         case 'e':
            return open({"/api/v1/events", {}, std::string{idIn(step)}}, idIn(step));
         case 'a':
            return open({"/api/v1/events", {{"after", std::string{idIn(step)}}}}, idIn(step));
         case 'r':
         case 'R':
            return read(step.command == 'R');
         case 'd':
            return drop();
         case 't':
            time_.passes(1);
            FUZZ_CHECK(settles());
            return;
         case 'g':
            return ask(step.text);
         default:
            if (step.command >= '0' && step.command <= '9')
               current_ = static_cast<std::size_t>(step.command - '0');
      }
   }

   void finish() {
      for (current_ = 0; current_ < readers_.size(); ++current_)
         read(true);
   }

 private:
   static Support::TempDir const & folder() {
      static Support::TempDir const folder;
      return folder;
   }
   static AgentLog & agentLog() {
      static AgentLog log{std::make_unique<NoSink>()};
      return log;
   }

   std::uint64_t oldest() const { return last_ - std::min<std::uint64_t>(last_, MessageStore::kept) + 1; }

   void log(std::uint64_t count) {
      constexpr std::uint64_t mostInAll = 2600;
      for (; count > 0 && last_ < mostInAll; --count)
         Vorn::log(logLamp, Pelm::String{std::to_string(++last_)});
   }

   void open(HttpRequest const & request, std::string_view id) {
      HttpAnswer answer = agent_.answer(request);
      bool const isArgument = request.lastEventId.empty() && !request.arguments.empty();
      // An argument needs a number; a field that is empty counts as none.
      auto const after = isArgument && id.empty() ? std::nullopt : numberIn(id);
      FUZZ_CHECK(answer.status == (after ? 200U : 400U));
      constexpr std::size_t mostReaders = 10;
      if (!after || readers_.size() == mostReaders)
         return;
      std::uint64_t const known = *after > last_ ? 0 : *after;
      readers_.emplace_back(std::move(answer.document), std::max(known + 1, oldest()));
   }

   void read(bool all) {
      if (readers_.empty())
         return;
      Reader & reader = readers_[current_ % readers_.size()];
      while (reader.read(oldest(), last_) && all)
         continue;
   }

   void drop() {
      if (!readers_.empty())
         readers_.erase(readers_.begin() + static_cast<std::ptrdiff_t>(current_ % readers_.size()));
   }

   void ask(std::string_view target) {
      try {
         HttpAnswer const answer = agent_.answer(requestOf(target));
         std::string text = answer.body;
         if (answer.document && !answer.document->pauses())
            for (std::string_view piece = answer.document->next(); !piece.empty();
                 piece = answer.document->next())
               text += piece;
         rapidjson::Document json;
         bool const isJson = answer.status == 200 && answer.contentType == "application/json";
         FUZZ_CHECK(!isJson || !json.Parse<rapidjson::kParseIterativeFlag>(text.c_str()).HasParseError());
      } catch (HttpRefusal const &) {
         return;
      }
   }

   StorageAgent agent_{configIn(folder()), agentLog(), [] { return configIn(folder()); }, "fuzz.toml"};
   ManualTime & time_ = ManualTime::installed();  // the agent has set its own
   std::vector<Reader> readers_;
   std::size_t current_ = 0;
   std::uint64_t last_ = 0;  // messages so far
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
   std::string const input(data, data + size);
   auto const session = std::make_unique<Session>();
   forEachStep(input, [&](Step const & step) { session->take(step); });
   session->finish();
   return 0;
}
