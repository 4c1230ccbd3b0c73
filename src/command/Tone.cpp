#include "command/Tone.h"

namespace Command {

namespace {

std::string_view codeOf(Tone tone) {
   switch (tone) {
      case Tone::title:
         return "1";
      case Tone::good:
         return "32";
      case Tone::warning:
         return "33";
      case Tone::bad:
         return "31";
      case Tone::plain:
         break;
   }
   return {};
}

}  // namespace

std::string coloured(std::string_view text, Tone tone) {
   std::string_view const code = codeOf(tone);
   if (code.empty() || text.empty())
      return std::string{text};
   return std::string{"\x1b["}.append(code).append("m").append(text).append("\x1b[0m");
}

}  // namespace Command
