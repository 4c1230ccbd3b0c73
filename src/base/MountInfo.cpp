#include "base/MountInfo.h"

#include <sys/sysmacros.h>

#include <algorithm>
#include <utility>

#include "base/Number.h"

namespace Base {

namespace {

// Removes the text before the first separator, and the separator; the whole text without one.
std::string_view take(std::string_view & text, char separator) {
   auto const end = std::min(text.find(separator), text.size());
   std::string_view const taken = text.substr(0, end);
   text.remove_prefix(std::min(end + 1, text.size()));
   return taken;
}

bool isOctal(char c) {
   return c >= '0' && c <= '7';
}

// The kernel writes blanks, line ends and backslashes as a backslash and three octal digits.
std::string unescaped(std::string_view text) {
   constexpr std::size_t length = 4;
   std::string result;
   while (!text.empty()) {
      bool const escape = text.size() >= length && text[0] == '\\' &&
                          std::all_of(text.begin() + 1, text.begin() + length, isOctal);
      result +=
          escape ? static_cast<char>((text[1] - '0') * 64 + (text[2] - '0') * 8 + (text[3] - '0')) : text[0];
      text.remove_prefix(escape ? length : 1);
   }
   return result;
}

bool contains(std::string_view options, std::string_view name) {
   while (!options.empty()) {
      std::string_view option = take(options, ',');
      if (take(option, '=') == name)
         return true;
   }
   return false;
}

}  // namespace

bool MountInfo::has(std::string_view option) const {
   return contains(options, option) || contains(fsOptions, option);
}

std::optional<dev_t> parseDeviceNumber(std::string_view text) {
   auto const upper = parseWhole<unsigned>(take(text, ':'));
   auto const lower = parseWhole<unsigned>(text);
   return upper && lower ? std::optional{makedev(*upper, *lower)} : std::nullopt;
}

std::optional<MountInfo> parseMountInfo(std::string_view line) {
   take(line, ' ');  // the mount's number
   take(line, ' ');  // its parent's
   auto const number = parseDeviceNumber(take(line, ' '));
   take(line, ' ');  // what of the file system is mounted
   MountInfo mount;
   mount.target = unescaped(take(line, ' '));
   mount.options = take(line, ' ');
   while (!line.empty() && take(line, ' ') != "-") {
   }                 // optional fields
   take(line, ' ');  // the file system's type
   mount.source = unescaped(take(line, ' '));
   mount.fsOptions = line;
   if (!number || mount.fsOptions.empty())
      return std::nullopt;
   mount.number = *number;
   return mount;
}

}  // namespace Base
