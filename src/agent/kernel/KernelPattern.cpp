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

bool consumeNumber(Cursor & cursor) {
   cursor.consume("-");
   return cursor.consumeRun<isDigit>();
}

bool consumeHex(Cursor & cursor) {
   cursor.consume("0x");
   return cursor.consumeRun<isHexDigit>();
}

// Matches one pattern with one line.
class Reader {
 public:
   Reader(std::string_view pattern, Cursor cursor, KernelMatch & match)
       : pattern_{pattern}, cursor_{cursor}, match_{match} {}

   // Up to the next alternative or the end of the pattern.
   bool consumeSequence() {
      while (!pattern_.empty())
         if (!(pattern_.front() == '%' ? consumeToken() : consumeText()))
            return false;
      return true;
   }

   bool consumeAll() {
      while (!pattern_.empty()) {
         std::size_t const open = std::min(pattern_.size(), pattern_.find('<'));
         std::string_view const rest = pattern_.substr(open);
         pattern_ = pattern_.substr(0, open);
         follows_ = rest;
         if (!consumeSequence())
            return false;
         pattern_ = rest;
         if (!pattern_.empty() && !consumeAlternative())
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

   bool consumeText() {
      std::size_t const size = std::min(pattern_.size(), pattern_.find('%'));
      std::string_view const text = pattern_.substr(0, size);
      pattern_.remove_prefix(size);
      return cursor_.consume(text);
   }

   bool consumeToken() {
      std::string_view const token = pattern_.substr(1);
      for (Named const & named : tokens)
         if (token.starts_with(named.name.front()) && token.starts_with(named.name)) {
            pattern_.remove_prefix(1 + named.name.size());
            return (this->*named.token)();
         }
      return false;
   }

   bool consumeAlternative() {
      std::size_t const close = std::min(pattern_.size(), pattern_.find('>'));
      std::string_view choices = pattern_.substr(1, close - 1);
      std::string_view const behind = pattern_.substr(std::min(pattern_.size(), close + 1));
      for (bool isLast = false; !isLast;) {
         std::size_t const size = std::min(choices.size(), choices.find('|'));
         Reader choice{choices.substr(0, size), cursor_, match_};
         choice.follows_ = behind;
         if (choice.consumeSequence()) {
            cursor_ = choice.cursor_;
            pattern_ = behind;
            return true;
         }
         isLast = size == choices.size();
         choices.remove_prefix(isLast ? size : size + 1);
      }
      return false;
   }

   // Whether the rest of the pattern, or one of its alternatives, begins with this character.
   bool continuesWith(char c) const {
      std::string_view const next = pattern_.empty() ? follows_ : pattern_;
      if (!next.starts_with('<'))
         return next.starts_with(c);
      std::string_view const choices = next.substr(0, next.find('>'));
      for (std::size_t at = 0; at != choices.npos; at = choices.find('|', at + 1))
         if (choices.substr(at + 1).starts_with(c))
            return true;
      return false;
   }

   // No part of "dm-0" or "mapper/x" is a disk, unless the pattern itself continues so.
   bool isWhole() const {
      if (cursor_.at == cursor_.end || continuesWith(*cursor_.at))
         return true;
      if (*cursor_.at == '.')
         return cursor_.at + 1 == cursor_.end || !isAlnum(cursor_.at[1]);
      return !isOfName(*cursor_.at) && *cursor_.at != '!';
   }

   bool consumeBlockDevice(NamedAs namedAs) {
      auto const * const begin = cursor_.at;
      bool const isDisk =
          cursor_.at != cursor_.end && isLetter(*cursor_.at) && cursor_.consumeRun<isAlnum>() && isWhole();
      if (!isDisk && !cursor_.consumeRun<isOfName>() && cursor_.at == begin)
         return false;
      std::string_view const nameInLine = between(begin, cursor_.at);
      if (namedAs != NamedAs::device)
         match_.fileSystem = nameInLine;
      if (namedAs == NamedAs::device || match_.namedAs != NamedAs::device)
         name(namedAs, nameInLine, isDisk ? wholeDisk(nameInLine) : std::string{});
      return true;
   }

   void name(NamedAs namedAs, std::string_view nameInLine, std::string device, bool isBlockDevice = true) {
      match_.namedAs = namedAs;
      match_.isBlockDevice = isBlockDevice;
      match_.nameInLine = nameInLine;
      match_.device = std::move(device);
   }

   bool consumeDevice() { return consumeBlockDevice(NamedAs::device); }
   bool consumeFileSystem() { return consumeBlockDevice(NamedAs::fileSystem); }
   bool consumePool() { return consumeBlockDevice(NamedAs::pool); }

   bool consumeAta() {
      auto const * const begin = cursor_.at;
      if (!cursor_.consume("ata") || !cursor_.consumeRun<isDigit>())
         return false;
      std::string const port{between(begin, cursor_.at)};
      if (cursor_.consume(".") && !cursor_.consumeRun<isDigit>())
         return false;
      name(NamedAs::device, between(begin, cursor_.at), port, false);
      return true;
   }

   // For the port of a hub, that port is the device.
   bool consumeUsb() {
      auto const * const begin = cursor_.at;
      if (!cursor_.consume("usb "))
         return false;
      bool const isRoot = cursor_.consume("usb");
      auto const * const bus = cursor_.at;
      if (!cursor_.consumeRun<isDigit>())
         return false;
      if (!isRoot && cursor_.consume("-") && cursor_.consumeRun<isDigit>())
         while (cursor_.consume(".") && cursor_.consumeRun<isDigit>())
            continue;
      std::string port{between(bus, cursor_.at)};
      if (cursor_.consume("-port"))
         port.append(isRoot ? "-" : ".").append(cursor_.run<isDigit>());
      else
         consumeInterface();
      if (port.find('-') == port.npos || !isDigit(port.back()))
         return false;
      name(NamedAs::device, between(begin, cursor_.at), "usb " + port, false);
      return true;
   }

   // ":1.0"
   void consumeInterface() {
      Cursor interface = cursor_;
      if (interface.consume(":") && interface.consumeRun<isDigit>() && interface.consume(".") &&
          interface.consumeRun<isDigit>())
         cursor_ = interface;
   }

   bool consumeCard() {
      auto const * const begin = cursor_.at;
      if ((!cursor_.consume("mmcblk") && !cursor_.consume("mmc")) || !cursor_.consumeRun<isDigit>())
         return false;
      cursor_.run<isAlnum>();
      std::string_view const nameInLine = between(begin, cursor_.at);
      name(NamedAs::device, nameInLine, wholeDisk(nameInLine), nameInLine.starts_with("mmcblk"));
      return true;
   }

   bool consumeNvme() {
      auto const * const begin = cursor_.at;
      if (!cursor_.consume("nvme") || !cursor_.consumeRun<isDigit>())
         return false;
      std::string_view const nameInLine = between(begin, cursor_.at);
      name(NamedAs::device, nameInLine, std::string{nameInLine} + "n1");
      return true;
   }

   bool consumeScsi() {
      auto const * const begin = cursor_.at;
      for (int number = 0; number < 4; ++number)
         if ((number > 0 && !cursor_.consume(":")) || !cursor_.consumeRun<isDigit>())
            return false;
      match_.address = between(begin, cursor_.at);
      return true;
   }

   bool consumeTag() {
      cursor_.run<isBlank>();
      if (cursor_.consume("tag#") && (!cursor_.consumeRun<isDigit>() || !cursor_.consumeRun<isBlank>()))
         return false;
      return consumeEvent();
   }

   bool consumeEvent() {
      match_.event = cursor_.rest();
      return true;
   }

   bool consumeNum() { return consumeNumber(cursor_); }
   bool consumeHexNum() { return consumeHex(cursor_); }
   bool consumeName() { return cursor_.consumeRun<isOfName>(); }

   bool consumeAny() {
      std::string_view const next = pattern_.empty() ? follows_ : pattern_;
      std::string_view const text = next.substr(0, next.find_first_of("%<"));
      std::size_t const at = text.empty() ? cursor_.rest().size() : cursor_.rest().find(text);
      if (at == std::string_view::npos)
         return false;
      cursor_.at += at;
      return true;
   }

   bool consumeEnd() {
      cursor_.run<isBlank>();
      return cursor_.at == cursor_.end;
   }

   std::string_view pattern_;  // its unmatched rest
   std::string_view follows_;  // the pattern behind an alternative
   Cursor cursor_;
   KernelMatch & match_;
};

constinit std::array<Reader::Named, 15> const Reader::tokens{{{"dev", &Reader::consumeDevice},
                                                              {"fs", &Reader::consumeFileSystem},
                                                              {"pool", &Reader::consumePool},
                                                              {"ata", &Reader::consumeAta},
                                                              {"usb", &Reader::consumeUsb},
                                                              {"card", &Reader::consumeCard},
                                                              {"nvme", &Reader::consumeNvme},
                                                              {"scsi", &Reader::consumeScsi},
                                                              {"tag", &Reader::consumeTag},
                                                              {"event", &Reader::consumeEvent},
                                                              {"num", &Reader::consumeNum},
                                                              {"hex", &Reader::consumeHexNum},
                                                              {"name", &Reader::consumeName},
                                                              {"any", &Reader::consumeAny},
                                                              {"end", &Reader::consumeEnd}}};

bool beginsWithText(std::string_view pattern) {
   return !pattern.empty() && pattern.front() != '%' && pattern.front() != '<';
}

}  // namespace

bool consumeKernelPattern(std::string_view pattern, std::string_view & text, KernelMatch & match) {
   if (beginsWithText(pattern) && !text.starts_with(pattern.front()))
      return false;  // most end here, at little cost
   Reader reader{pattern, {text.data(), text.data() + text.size()}, match};
   if (!reader.consumeAll())
      return false;
   text = reader.cursor().rest();
   return true;
}

}  // namespace Agent
