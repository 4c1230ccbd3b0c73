#include "agent/serve/HttpTarget.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "agent/serve/HttpRefusal.h"

namespace Agent {

namespace {

// The byte that "%41" at the beginning of the text stands for.
std::optional<char> escapedByte(std::string_view text) {
   constexpr std::size_t length = 3;
   unsigned char value = 0;
   if (text.size() < length || text.front() != '%')
      return std::nullopt;
   char const * const end = text.data() + length;
   auto const [stop, error] = std::from_chars(text.data() + 1, end, value, 16);
   return error == std::errc{} && stop == end ? std::optional{static_cast<char>(value)} : std::nullopt;
}

// An encoded NUL byte would cut a C string, so a text with one stays undecoded.
std::string decoded(std::string_view text) {
   if (text.find("%00") != std::string_view::npos)
      return std::string{text};
   std::string result;
   while (!text.empty()) {
      auto const byte = escapedByte(text);
      result += byte.value_or(text.front());
      text.remove_prefix(byte ? 3 : 1);
   }
   return result;
}

std::string decodedArgument(std::string_view text) {
   std::string spaced{text};
   std::replace(spaced.begin(), spaced.end(), '+', ' ');
   return decoded(spaced);
}

// Removes the text up to the separator, and the separator, and answers that text.
std::string_view cut(std::string_view & text, char separator) {
   std::string_view const part = text.substr(0, text.find(separator));
   text.remove_prefix(std::min(text.size(), part.size() + 1));
   return part;
}

}  // namespace

char const * HttpRequest::argument(std::string_view name) const {
   auto const found = std::find_if(arguments.begin(), arguments.end(),
                                   [name](auto const & argument) { return argument.first == name; });
   return found == arguments.end() ? nullptr : found->second.c_str();
}

HttpRequest requestOf(std::string_view target) {
   if (!target.starts_with('/'))
      throw HttpRefusal{400, "the target of the request must be a path\n"};
   HttpRequest request{decoded(cut(target, '?')), {}};
   if (static_cast<std::size_t>(std::count(target.begin(), target.end(), '&')) >= mostArguments)
      throw HttpRefusal{414, "the request has too many arguments\n"};
   while (!target.empty()) {
      std::string_view value = cut(target, '&');
      bool const hasValue = value.find('=') != std::string_view::npos;
      std::string_view const name = cut(value, '=');
      if (hasValue)
         request.arguments.emplace_back(decodedArgument(name), decodedArgument(value));
   }
   return request;
}

}  // namespace Agent
