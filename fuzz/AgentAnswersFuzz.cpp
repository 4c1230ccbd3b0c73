// The command shows any answer of an agent, or refuses it with one line. What it shows has no control
// characters but its own, fits the terminal, and breaks no form that other programs read.
//
// The input is an answer, or two (state and messages) with a line "----" between them.
#include <rapidjson/document.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Check.h"
#include "base/JsonView.h"
#include "base/Text.h"
#include "command/Check.h"
#include "command/HistoryText.h"
#include "command/MessagesText.h"
#include "command/ServedHistory.h"
#include "command/StatusTable.h"

namespace {

using namespace Command;

// The result; "" where the answer was refused.
std::string shown(std::function<std::string()> const & show) {
   try {
      return show();
   } catch (std::runtime_error const & error) {
      FUZZ_CHECK(Base::escaped(error.what()) == error.what());
      return {};
   }
}

std::string withoutColours(std::string text) {
   for (std::size_t at = text.find("\x1b["); at != std::string::npos; at = text.find("\x1b[", at)) {
      std::size_t const end = text.find('m', at);
      FUZZ_CHECK(end != std::string::npos && end - at <= 8);
      text.erase(at, end + 1 - at);
   }
   return text;
}

// Lines of printable characters, each with its line break.
void checkLines(std::string const & text, std::size_t width) {
   FUZZ_CHECK(text.empty() || text.ends_with('\n'));
   for (std::size_t from = 0; from < text.size();) {
      std::size_t const end = text.find('\n', from);
      std::string const line = text.substr(from, end - from);
      FUZZ_CHECK(Base::escaped(line) == line);
      FUZZ_CHECK(Base::displayWidth(line) <= width);
      from = end + 1;
   }
}

void checkTable(std::string const & state, std::string const & messages) {
   std::string const wide = shown([&] { return statusTable(state, messages, {}); });
   checkLines(wide, SIZE_MAX);
   constexpr std::size_t width = 72;
   std::string const narrow = shown([&] { return statusTable(state, messages, {width, true}); });
   checkLines(withoutColours(narrow), width);
   FUZZ_CHECK(wide.empty() == narrow.empty());
}

void checkCheck(std::string const & state) {
   CheckResult result;
   try {
      result = checkResult(Base::parsedJson(state, "state document"));
   } catch (std::runtime_error const & error) {
      std::string const line = unknownLine(error.what());
      FUZZ_CHECK(line.starts_with("STORAGE UNKNOWN") && line.find('\n') + 1 == line.size());
      return;
   }
   std::string const line = checkLine(result);
   constexpr std::size_t mostBytes = 8000;
   FUZZ_CHECK(line.size() <= mostBytes && line.find('\n') + 1 == line.size());
   FUZZ_CHECK(line.starts_with("STORAGE " + std::string{statusWord(result.status)} + " - "));
   FUZZ_CHECK(std::count(line.begin(), line.end(), '|') <= 1);
   FUZZ_CHECK(line.find_first_of("<>") == std::string::npos);
   checkLines(line, SIZE_MAX);
   std::string const json = checkJson(result);
   auto const document = Base::parsedJson(json, "check");
   FUZZ_CHECK(Base::jsonElements(Base::jsonMember(&document, "disks")).size() == result.disks.size());
   FUZZ_CHECK(json.find('\n') + 1 == json.size());
}

void checkMessages(std::string const & answer) {
   MessageFeed text{MessageFeed::Form::text};
   std::string const first = shown([&] { return text.take(answer); });
   checkLines(first, SIZE_MAX);
   MessageFeed json{MessageFeed::Form::json};
   std::string const lines = shown([&] { return json.take(answer); });
   for (std::size_t from = 0; from < lines.size();) {
      std::size_t const end = lines.find('\n', from);
      FUZZ_CHECK(end != std::string::npos);
      FUZZ_CHECK(Base::parsedJson(lines.substr(from, end - from), "message").IsObject());
      from = end + 1;
   }
   // JSON may be refused where the text is shown.
   FUZZ_CHECK(lines.empty() || (!first.empty() && text.resource() == json.resource()));
}

void checkHistory(std::string const & answer) {
   shown([&] {
      ServedHistory const history = servedHistory(answer);
      FUZZ_CHECK(std::is_sorted(history.times.begin(), history.times.end()));
      for (auto const * const readings :
           {&history.temperature, &history.lifeLeft, &history.readPerSecond, &history.writtenPerSecond})
         FUZZ_CHECK(readings->size() == history.times.size());
      double const now = history.times.empty() ? 1795000000 : history.times.back();
      CheckedDisk const disk{"KS0001", "/dev/sda", "ok"};
      for (bool const utf8 : {true, false}) {
         std::string const text =
             historyText(disk, CheckResult{}, history, {.width = 80, .utf8 = utf8, .now = now});
         checkLines(text, 80);
         FUZZ_CHECK(utf8 || std::none_of(text.begin(), text.end(), [](char c) { return c < 0; }));
      }
      return std::string{};
   });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
   std::string const input(data, data + size);
   constexpr std::string_view separator = "\n----\n";
   std::size_t const cut = std::min(input.find(separator), input.size());
   std::string const first = input.substr(0, cut);
   std::string const second = input.substr(std::min(cut + separator.size(), input.size()));
   checkTable(first, second);
   checkCheck(first);
   checkMessages(first);
   checkMessages(second);
   checkHistory(first);
   return 0;
}
