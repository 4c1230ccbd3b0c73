#include "base/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <string>
#include <string_view>

#include "base/Number.h"

namespace Base {

namespace {

std::string_view variable(char const * name) {
   char const * const value = std::getenv(name);
   return value == nullptr ? std::string_view{} : std::string_view{value};
}

}  // namespace

bool takesColour(int descriptor) {
   if (!variable("NO_COLOR").empty())
      return false;
   std::string_view const force = variable("CLICOLOR_FORCE");
   return (!force.empty() && force != "0") || isatty(descriptor) != 0;
}

TerminalSize terminalSize(int descriptor) {
   winsize size{};
   if (ioctl(descriptor, TIOCGWINSZ, &size) != 0)
      return {};
   return {size.ws_row, size.ws_col};
}

std::size_t outputWidth(int descriptor) {
   if (isatty(descriptor) != 0)
      return terminalSize(descriptor).columns;
   return parseWhole<std::size_t>(variable("COLUMNS")).value_or(0);
}

bool takesUtf8() {
   for (char const * const name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
      std::string locale{variable(name)};
      if (locale.empty())
         continue;
      for (char & c : locale)
         c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
      return locale.find("UTF-8") != std::string::npos || locale.find("UTF8") != std::string::npos;
   }
   return false;
}

}  // namespace Base
