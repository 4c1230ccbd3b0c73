#include "agent/kernel/KernelPattern.h"

#include <algorithm>
#include <array>
#include <utility>

#include "StorageDevices/TextCursor.h"
#include "agent/kernel/KernelDeviceName.h"

namespace Agent {

namespace {

using StorageDevices::between;
using StorageDevices::Cursor;
using StorageDevices::hexDigitValue;
using StorageDevices::isAlnum;
using StorageDevices::isDigit;
using StorageDevices::isLetter;
using StorageDevices::isLower;

bool isBlank(char c) {
   return c == ' ';
}

bool isHexDigit(char c) {
   return hexDigitValue(c) >= 0;
}

bool isOfName(char c) {
   return isAlnum(c) || c == '-' || c == '_' || c == '.' || c == '+' || c == '/';
}

bool takesNumber(Cursor & cursor) {
   cursor.takes("-");
   return cursor.takesRun<isDigit>();
}

bool takesHex(Cursor & cursor) {
   cursor.takes("0x");
   return cursor.takesRun<isHexDigit>();
}

// One pattern on its way through one line.
class Reader {
 public:
   Reader(std::string_view pattern, Cursor cursor, KernelMatch & match)
       : pattern_{pattern}, cursor_{cursor}, match_{match} {}

   // Without alternatives.
   bool takesSequence() {
      while (!pattern_.empty())
         if (!(pattern_.front() == '%' ? takesToken() : takesText()))
            return false;
      return true;
   }

   bool takesAll() {
      while (!pattern_.empty()) {
         std::size_t const open = std::min(pattern_.size(), pattern_.find('<'));
         std::string_view const rest = pattern_.substr(open);
         pattern_ = pattern_.substr(0, open);
         follows_ = rest;
         if (!takesSequence())
            return false;
         pattern_ = rest;
         if (!pattern_.empty() && !takesAlternative())
            return false;
      }
      return true;
   }

   Cursor cursor() const { return cursor_; }

 private:
   using Token = bool (Reader::*)();

   struct Named {
      std::string_view name;
      Token token;
   };
   static std::array<Named, 15> const tokens;

   bool takesText() {
      std::size_t const size = std::min(pattern_.size(), pattern_.find('%'));
      std::string_view const text = pattern_.substr(0, size);
      pattern_.remove_prefix(size);
      return cursor_.takes(text);
   }

   bool takesToken() {
      std::string_view const token = pattern_.substr(1);
      for (Named const & named : tokens)
         if (token.starts_with(named.name.front()) && token.starts_with(named.name)) {
            pattern_.remove_prefix(1 + named.name.size());
            return (this->*named.token)();
         }
      return false;
   }

   bool takesAlternative() {
      std::size_t const close = std::min(pattern_.size(), pattern_.find('>'));
      std::string_view choices = pattern_.substr(1, close - 1);
      std::string_view const behind = pattern_.substr(std::min(pattern_.size(), close + 1));
      for (bool isLast = false; !isLast;) {
         std::size_t const size = std::min(choices.size(), choices.find('|'));
         Reader choice{choices.substr(0, size), cursor_, match_};
         choice.follows_ = behind;
         if (choice.takesSequence()) {
            cursor_ = choice.cursor_;
            pattern_ = behind;
            return true;
         }
         isLast = size == choices.size();
         choices.remove_prefix(isLast ? size : size + 1);
      }
      return false;
   }

   // Whether the pattern goes on with this character, in one of its alternatives too.
   bool goesOnWith(char c) const {
      std::string_view const next = pattern_.empty() ? follows_ : pattern_;
      if (!next.starts_with('<'))
         return next.starts_with(c);
      std::string_view const choices = next.substr(0, next.find('>'));
      for (std::size_t at = 0; at != choices.npos; at = choices.find('|', at + 1))
         if (choices.substr(at + 1).starts_with(c))
            return true;
      return false;
   }

   // Of "dm-0" and "mapper/x" no part is a disk, unless the pattern itself goes on so.
   bool isWhole() const {
      if (cursor_.at == cursor_.end || goesOnWith(*cursor_.at))
         return true;
      if (*cursor_.at == '.')
         return cursor_.at + 1 == cursor_.end || !isAlnum(cursor_.at[1]);
      return !isOfName(*cursor_.at) && *cursor_.at != '!';
   }

   bool takesBlockDevice(KernelBlame blame) {
      auto const * const begin = cursor_.at;
      bool const isDisk =
          cursor_.at != cursor_.end && isLetter(*cursor_.at) && cursor_.takesRun<isAlnum>() && isWhole();
      if (!isDisk && !cursor_.takesRun<isOfName>() && cursor_.at == begin)
         return false;
      std::string_view const said = between(begin, cursor_.at);
      if (blame != KernelBlame::device)
         match_.fileSystem = said;
      if (blame == KernelBlame::device || match_.blame != KernelBlame::device)
         name(blame, said, isDisk ? wholeDisk(said) : std::string{});
      return true;
   }

   void name(KernelBlame blame, std::string_view said, std::string device, bool isBlockDevice = true) {
      match_.blame = blame;
      match_.isBlockDevice = isBlockDevice;
      match_.said = said;
      match_.device = std::move(device);
   }

   bool takesDevice() { return takesBlockDevice(KernelBlame::device); }
   bool takesFileSystem() { return takesBlockDevice(KernelBlame::fileSystem); }
   bool takesPool() { return takesBlockDevice(KernelBlame::pool); }

   bool takesAta() {
      auto const * const begin = cursor_.at;
      if (!cursor_.takes("ata") || !cursor_.takesRun<isDigit>())
         return false;
      std::string const port{between(begin, cursor_.at)};
      if (cursor_.takes(".") && !cursor_.takesRun<isDigit>())
         return false;
      name(KernelBlame::device, between(begin, cursor_.at), port, false);
      return true;
   }

   // Of a hub's port, the port that it is.
   bool takesUsb() {
      auto const * const begin = cursor_.at;
      if (!cursor_.takes("usb "))
         return false;
      bool const isRoot = cursor_.takes("usb");
      auto const * const bus = cursor_.at;
      if (!cursor_.takesRun<isDigit>())
         return false;
      if (!isRoot && cursor_.takes("-") && cursor_.takesRun<isDigit>())
         while (cursor_.takes(".") && cursor_.takesRun<isDigit>())
            continue;
      std::string port{between(bus, cursor_.at)};
      if (cursor_.takes("-port"))
         port.append(isRoot ? "-" : ".").append(cursor_.run<isDigit>());
      else
         takesInterface();
      if (port.find('-') == port.npos || !isDigit(port.back()))
         return false;
      name(KernelBlame::device, between(begin, cursor_.at), "usb " + port, false);
      return true;
   }

   // ":1.0"
   void takesInterface() {
      Cursor interface = cursor_;
      if (interface.takes(":") && interface.takesRun<isDigit>() && interface.takes(".") &&
          interface.takesRun<isDigit>())
         cursor_ = interface;
   }

   bool takesCard() {
      auto const * const begin = cursor_.at;
      if ((!cursor_.takes("mmcblk") && !cursor_.takes("mmc")) || !cursor_.takesRun<isDigit>())
         return false;
      cursor_.run<isAlnum>();
      std::string_view const said = between(begin, cursor_.at);
      name(KernelBlame::device, said, wholeDisk(said), said.starts_with("mmcblk"));
      return true;
   }

   bool takesNvme() {
      auto const * const begin = cursor_.at;
      if (!cursor_.takes("nvme") || !cursor_.takesRun<isDigit>())
         return false;
      std::string_view const said = between(begin, cursor_.at);
      name(KernelBlame::device, said, std::string{said} + "n1");
      return true;
   }

   bool takesScsi() {
      auto const * const begin = cursor_.at;
      for (int number = 0; number < 4; ++number)
         if ((number > 0 && !cursor_.takes(":")) || !cursor_.takesRun<isDigit>())
            return false;
      match_.address = between(begin, cursor_.at);
      return true;
   }

   bool takesTag() {
      cursor_.run<isBlank>();
      if (cursor_.takes("tag#") && (!cursor_.takesRun<isDigit>() || !cursor_.takesRun<isBlank>()))
         return false;
      return takesEvent();
   }

   bool takesEvent() {
      match_.event = cursor_.rest();
      return true;
   }

   bool takesNum() { return takesNumber(cursor_); }
   bool takesHexNum() { return takesHex(cursor_); }
   bool takesName() { return cursor_.takesRun<isOfName>(); }

   bool takesAny() {
      std::string_view const next = pattern_.empty() ? follows_ : pattern_;
      std::string_view const text = next.substr(0, next.find_first_of("%<"));
      std::size_t const at = text.empty() ? cursor_.rest().size() : cursor_.rest().find(text);
      if (at == std::string_view::npos)
         return false;
      cursor_.at += at;
      return true;
   }

   bool takesEnd() {
      cursor_.run<isBlank>();
      return cursor_.at == cursor_.end;
   }

   std::string_view pattern_;  // what of it is still to be taken
   std::string_view follows_;  // behind an alternative, or from the next one on
   Cursor cursor_;
   KernelMatch & match_;
};

constinit std::array<Reader::Named, 15> const Reader::tokens{{{"dev", &Reader::takesDevice},
                                                              {"fs", &Reader::takesFileSystem},
                                                              {"pool", &Reader::takesPool},
                                                              {"ata", &Reader::takesAta},
                                                              {"usb", &Reader::takesUsb},
                                                              {"card", &Reader::takesCard},
                                                              {"nvme", &Reader::takesNvme},
                                                              {"scsi", &Reader::takesScsi},
                                                              {"tag", &Reader::takesTag},
                                                              {"event", &Reader::takesEvent},
                                                              {"num", &Reader::takesNum},
                                                              {"hex", &Reader::takesHexNum},
                                                              {"name", &Reader::takesName},
                                                              {"any", &Reader::takesAny},
                                                              {"end", &Reader::takesEnd}}};

// Ports begin with a letter of their own.
bool mayBeginToken(std::string_view token, char c) {
   constexpr std::array<std::pair<std::string_view, char>, 3> ports{
       {{"ata", 'a'}, {"usb", 'u'}, {"card", 'm'}}};
   for (auto const & [port, letter] : ports)
      if (token.starts_with(port.front()) && token.starts_with(port))
         return c == letter;
   return true;
}

}  // namespace

bool mayBeginWith(std::string_view pattern, char c) {
   if (pattern.empty())
      return true;
   if (pattern.front() == '%')
      return mayBeginToken(pattern.substr(1), c);
   if (pattern.front() != '<')
      return pattern.front() == c;
   std::size_t const close = pattern.find('>');
   for (std::size_t at = 0; at < close; at = pattern.find('|', at + 1))
      if (char const next = pattern[at + 1]; next == c || next == '%' || next == '|' || next == '>')
         return true;
   return false;
}

bool takesKernelPattern(std::string_view pattern, std::string_view & text, KernelMatch & match) {
   Reader reader{pattern, {text.data(), text.data() + text.size()}, match};
   if (!reader.takesAll())
      return false;
   text = reader.cursor().rest();
   return true;
}

}  // namespace Agent
