#include "command/machine/PortPattern.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

namespace Command {

namespace {

constexpr std::string_view digits = "0123456789";
constexpr std::string_view hexDigits = "0123456789abcdef";
constexpr std::string_view anyNumber = "[0-9]*";

// The length of the leading characters that are in `set`.
std::size_t leading(std::string_view text, std::string_view set) {
   return std::min(text.find_first_not_of(set), text.size());
}

// The text as a basic regular expression that matches it alone, without white space.
std::string literal(std::string_view text) {
   constexpr std::string_view special = ".[\\*^$";
   std::string result;
   for (char const c : text) {
      if (special.find(c) != std::string_view::npos)
         result += '\\';
      result += static_cast<unsigned char>(c) > ' ' ? c : '.';
   }
   return result;
}

// "0000:3d:00.0"
bool isPciAddress(std::string_view name) {
   std::size_t const domain = leading(name, hexDigits);
   std::string_view const rest = name.substr(domain);
   return domain >= 4 && rest.size() == 8 && rest[0] == ':' && leading(rest.substr(1), hexDigits) == 2 &&
          rest[3] == ':' && leading(rest.substr(4), hexDigits) == 2 && rest[6] == '.';
}

// A PCI bus below a bridge gets its number when the machine starts; the bridge alone tells it from others.
std::string anyBus(std::string_view address) {
   std::size_t const domain = address.find(':');
   return literal(address.substr(0, domain)) + ":[0-9a-f]*" + literal(address.substr(domain + 3));
}

// "1-1.2" and "1-1.2:1.0" are USB ports of bus 1, "0:0:0:0" is a SCSI address of host 0.
bool beginsWithAllottedNumber(std::string_view name) {
   std::size_t const number = leading(name, digits);
   if (number == 0 || number == name.size())
      return false;
   return name[number] == '-' || std::count(name.begin(), name.end(), ':') == 3;
}

// The name behind one of the words before assigned numbers; empty: it has no such word.
std::optional<std::string_view> wordOf(std::string_view name) {
   constexpr std::array<std::string_view, 15> words{
       "host",    "target", "usb",    "mmc",   "mmcblk",      "nvme",      "nvme-subsys", "virtio",
       "session", "rport-", "vport-", "port-", "end_device-", "expander-", "phy-"};
   std::size_t const length = std::min(name.find_first_of(digits), name.size());
   bool const known = std::find(words.begin(), words.end(), name.substr(0, length)) != words.end();
   return known && length < name.size() ? std::optional{name.substr(0, length)} : std::nullopt;
}

// "sda"
std::optional<std::string_view> diskWordOf(std::string_view name) {
   for (std::string_view const word : {"sd", "hd", "vd", "xvd"})
      if (name.starts_with(word) && name.size() > word.size() &&
          leading(name.substr(word.size()), "abcdefghijklmnopqrstuvwxyz") == name.size() - word.size())
         return word;
   return std::nullopt;
}

// "xhci-hcd.1.auto" with its number left open; nothing for another form.
std::optional<std::string> anyAutomatic(std::string_view name) {
   constexpr std::string_view ending = ".auto";
   if (!name.ends_with(ending))
      return std::nullopt;
   std::string_view const front = name.substr(0, name.size() - ending.size());
   std::size_t const dot = front.rfind('.');
   if (dot == std::string_view::npos || leading(front.substr(dot + 1), digits) != front.size() - dot - 1)
      return std::nullopt;
   return literal(front.substr(0, dot + 1)) + std::string{anyNumber} + literal(ending);
}

// The name with its assigned number left open; of other names the pattern of the name itself.
std::string general(std::string_view name, bool isBelowBridge) {
   if (isPciAddress(name))
      return isBelowBridge ? anyBus(name) : literal(name);
   if (beginsWithAllottedNumber(name))
      return std::string{anyNumber} + literal(name.substr(leading(name, digits)));
   if (auto const word = diskWordOf(name))
      return std::string{*word} + "[a-z]*";
   if (auto const automatic = anyAutomatic(name))
      return *automatic;
   auto const word = wordOf(name);
   if (!word)
      return literal(name);
   std::string_view const rest = name.substr(word->size() + leading(name.substr(word->size()), digits));
   // A card tells its address anew each time.
   bool const isCard =
       *word == "mmc" && rest.starts_with(':') && leading(rest.substr(1), hexDigits) == rest.size() - 1;
   return std::string{*word}.append(anyNumber).append(isCard ? ":[0-9a-f]*" : literal(rest));
}

// Whether another name in the folder has the same general pattern.
bool isAmbiguous(std::vector<std::string> const & names, std::string_view name, bool isBelowBridge) {
   std::string const own = general(name, isBelowBridge);
   return std::any_of(names.begin(), names.end(), [&](std::string const & other) {
      return other != name && general(other, isBelowBridge) == own;
   });
}

}  // namespace

PortPattern portPattern(std::string const & path, FolderNames const & namesIn) {
   PortPattern result;
   result.isPort = !path.starts_with("virtual/");
   bool isBelowBridge = false;
   for (std::size_t begin = 0; begin < path.size();) {
      std::size_t const end = std::min(path.find('/', begin), path.size());
      std::string const name = path.substr(begin, end - begin);
      std::string const open = general(name, isBelowBridge);
      std::string const exact = literal(name);
      bool const keeps = open != exact && isAmbiguous(namesIn(path.substr(0, begin)), name, isBelowBridge);
      if (keeps)
         result.kept.push_back(name);
      std::string const separator = begin == 0 ? "" : "/";
      result.pattern += separator + (keeps ? exact : open);
      result.general += separator + open;
      isBelowBridge |= isPciAddress(name);
      begin = end + 1;
   }
   result.pattern += "$";
   result.general += "$";
   return result;
}

}  // namespace Command
