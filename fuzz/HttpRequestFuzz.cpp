// Any request is refused or gives a head that fulfils its conditions, in whatever parts it arrives.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Check.h"
#include "agent/serve/HttpHead.h"
#include "agent/serve/HttpRefusal.h"
#include "agent/serve/HttpTarget.h"

namespace {

using namespace Agent;

struct Outcome {
   unsigned status = 0;  // of the refusal; 200 for a head, 0 where the end of it is missing
   HttpHead head;
};

Outcome outcomeOf(std::string_view input, std::size_t step) {
   HttpHeadReader reader;
   try {
      for (std::size_t at = 0; at < input.size(); at += step)
         if (reader.take(input.substr(at, step)))
            return {200, reader.head()};
   } catch (HttpRefusal const & refusal) {
      return {refusal.status, {}};
   }
   return {};
}

void checkTexts(std::string_view input, HttpHead const & head) {
   auto const isPlain = [](std::string const & text) {
      return std::none_of(text.begin(), text.end(),
                          [](char c) { return c == '\0' || c == '\r' || c == '\n'; });
   };
   FUZZ_CHECK(
       input.starts_with(head.method + " " + head.target + " HTTP/1." + (head.isOld ? "0" : "1") + "\r\n"));
   FUZZ_CHECK(!head.method.empty() && head.method.find(' ') == std::string::npos && isPlain(head.method));
   FUZZ_CHECK(!head.target.empty() && head.target.find(' ') == std::string::npos && isPlain(head.target));
   FUZZ_CHECK(isPlain(head.host) && (head.hosts > 0 || head.host.empty()));
   FUZZ_CHECK(isPlain(head.lastEventId));
}

// All programs see the same lines: the head ends at the first blank line and has no other line ends.
void checkLines(std::string_view input) {
   std::string_view const head = input.substr(0, input.find("\r\n\r\n"));
   FUZZ_CHECK(head.size() + 4 <= HttpHeadReader::mostBytes);
   FUZZ_CHECK(std::count(head.begin(), head.end(), '\n') <= HttpHeadReader::mostFields);
   for (std::size_t at = head.find_first_of("\r\n"); at < head.size();
        at = head.find_first_of("\r\n", at + 2))
      FUZZ_CHECK(head.substr(at, 2) == "\r\n" && head[at + 2] != ' ' && head[at + 2] != '\t');
}

void checkRequest(HttpHead const & head) {
   try {
      HttpRequest const request = requestOf(head.target);
      FUZZ_CHECK(request.path.starts_with('/') && request.path.find('\0') == std::string::npos);
      FUZZ_CHECK(request.path.size() <= head.target.size() && request.arguments.size() <= mostArguments);
      for (auto const & [name, value] : request.arguments)
         FUZZ_CHECK(name.find('\0') == std::string::npos && value.find('\0') == std::string::npos);
   } catch (HttpRefusal const & refusal) {
      FUZZ_CHECK(refusal.status == (head.target.starts_with('/') ? 414U : 400U));
   }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
   std::string const input(data, data + size);
   Outcome const whole = outcomeOf(input, size + 1);
   for (std::size_t const step : {1, 2, 5}) {
      Outcome const parts = outcomeOf(input, step);
      FUZZ_CHECK(parts.status == whole.status && parts.head.target == whole.head.target);
   }
   constexpr std::array known{0U, 200U, 400U, 413U, 414U, 431U};
   FUZZ_CHECK(std::find(known.begin(), known.end(), whole.status) != known.end());
   if (whole.status != 200)
      return 0;
   checkTexts(input, whole.head);
   checkLines(input);
   checkRequest(whole.head);
   return 0;
}
