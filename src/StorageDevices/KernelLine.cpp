// One reader per pattern, without backtracking. A character that a repetition cannot match follows almost
// every repetition, so its length is unique. For the exceptions, ".*" and the time stamp, a comment names the
// length that the expression prefers.
#include "StorageDevices/KernelLine.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "StorageDevices/CharacterClasses.h"
#include "StorageDevices/TextCursor.h"

namespace StorageDevices {
namespace {

// "\s*\d{1,}.\d{1,6}\]\s*", from behind the opening bracket. Any character may separate the two numbers: a
// digit, as in "1111]", or the closing bracket, as in "111]1]". In "111]1]" the expression prefers the longer
// stamp. The shorter one gives no other result: only the pattern with ".*" can continue with "1]", and it
// accepts both.
bool consumeStamp(Cursor & cursor) {
   cursor.run<isSpace>();
   std::size_t const digits = cursor.run<isDigit>().size();
   if (digits == 0)
      return false;
   Cursor separated = cursor;
   bool const isSeparated = separated.consumeOne<isInLine>() && separated.consumeRun<isDigit>() &&
                            separated.at - cursor.at <= 1 + 6 && separated.consume("]");
   if (isSeparated)
      cursor = separated;
   else if (digits < 3 || !cursor.consume("]"))
      return false;
   cursor.run<isSpace>();
   return true;
}

bool consumeOneOf(Cursor & cursor, auto const &... texts) {
   return (cursor.consume(texts) || ...);
}

bool isUsbEvent(Cursor cursor) {
   if (!cursor.consumeRun<isSpace>())
      return false;
   if (consumeOneOf(cursor, "USB disconnect, device number", "USB disconnect, address",
                    "device descriptor read"))
      return true;
   return cursor.consume("reset ") && cursor.consumeRun<isLower>() &&
          cursor.consume("-speed USB device number");
}

// "\{ [a-zA-Z0-9 ]+ \}"; the last blank belongs to " \}".
bool isBraced(Cursor cursor) {
   if (!cursor.consume("{ "))
      return false;
   std::string_view const words = cursor.run<isAlnumOrBlank>();
   return words.size() >= 2 && words.ends_with(' ') && cursor.consume("}");
}

bool isAtaEvent(Cursor cursor) {
   if (consumeOneOf(cursor, "SError: ", "error: "))
      return isBraced(cursor);
   return consumeOneOf(cursor, "internal fatal error", "COMRESET failed", "hard resetting link",
                       "failed command:");
}

// "(:|.\d+:)\s+". A blank or a digit follows the first character, so only one alternative can match. In
// "ata123:" the digits could belong to the unit too; the port's name takes as many as possible.
bool consumeAtaUnit(Cursor & cursor) {
   Cursor const unit = cursor;
   if (cursor.consume(":") && cursor.consumeRun<isSpace>())
      return true;
   cursor = unit;
   return cursor.consumeOne<isInLine>() && cursor.consumeRun<isDigit>() && cursor.consume(":") &&
          cursor.consumeRun<isSpace>();
}

// "error -5 ...", from behind "error -".
bool isCardError(Cursor cursor) {
   if (!cursor.consumeRun<isDigit>())
      return false;
   if (cursor.consume(" sending status command"))
      return true;
   return cursor.consume(" transferring data, sector ") && cursor.consumeRun<isDigit>() &&
          cursor.consume(", nr ") && cursor.consumeRun<isDigit>() && cursor.consume(", cmd response");
}

// "([a-zA-Z0-9]+), sector \d+" and similar.
std::string_view deviceAndBlock(Cursor cursor, std::string_view block) {
   std::string_view const device = cursor.run<isAlnum>();
   bool const isFound = !device.empty() && cursor.consume(block) && cursor.consumeOne<isDigit>();
   return isFound ? device : std::string_view();
}

// The patterns behind a time stamp. One object serves all stamps of a line, from left to right. It does not
// repeat a search that failed, so many stamps take no more time than one.
class Line {
 public:
   // Reads the device, empty when the pattern does not match.
   using Reader = std::string_view (Line::*)(Cursor behindStamp);

   struct Pattern {
      char first;  // the character that it begins with
      Reader reader;
   };

   static constexpr char anyCharacter = '\0';
   static std::array<Pattern, 9> const patterns;  // in their order

   explicit Line(std::string_view text) : begin_{text.data()}, end_{text.data() + text.size()} {}

 private:
   std::string_view usbPort(Cursor cursor) {
      Place const port = cursor.at;
      if (!cursor.consume("usb ") || !cursor.consumeRun<isDigit>() || !cursor.consume("-") ||
          !cursor.consumeRun<isDigit>())
         return {};
      return last(":", cursor.at, usbSearched_, [port](Cursor behind) {
         return isUsbEvent(behind) ? between(port, behind.at - 1) : std::string_view();
      });
   }

   std::string_view ataPort(Cursor cursor) {
      Place const port = cursor.at;
      if (!cursor.consume("ata") || !cursor.consumeRun<isDigit>())
         return {};
      std::string_view const name = between(port, cursor.at);
      if (!consumeAtaUnit(cursor) || !(isAtaEvent(cursor) || hasInterfaceError(cursor)))
         return {};
      return name;
   }

   std::string_view card(Cursor cursor) {
      Place const start = cursor.at;
      if (!consumeOneOf(cursor, "mmc0:", "mmcblk0:"))
         return {};
      std::string_view const name = between(start, cursor.at - 1);
      if (!cursor.consumeRun<isSpace>())
         return {};
      bool const isError = cursor.consume("Timeout waiting for hardware") ||
                           (cursor.consume("error -") && isCardError(cursor));
      return isError ? name : std::string_view();
   }

   std::string_view fileSystem(Cursor cursor) {
      auto const closing = [](std::string_view text) { return findPair(text, ')', ':'); };
      if (next(closing, cursor.at, closed_) == end_)
         return {};  // the result for nearly all lines, without the search below
      return last("(", cursor.at, fileSystemSearched_, [this](Cursor behind) {
         std::string_view const device = behind.run<isAlnum>();
         bool const isEvent = !device.empty() && behind.consume("):") && behind.consumeOne<isSpace>() &&
                              isFileSystemEvent(behind);
         return isEvent ? device : std::string_view();
      });
   }

   std::string_view ext4FileSystem(Cursor cursor) {
      if (!cursor.consume("EXT4-fs ") || !cursor.consumeRun<isLower>() || !cursor.consume(" (device "))
         return {};
      std::string_view const device = cursor.run<isAlnum>();
      return cursor.consume("):") ? device : std::string_view();
   }

   std::string_view scsiDisk(Cursor cursor) {
      if (!cursor.consume("sd") || !cursor.consumeOne<isSpace>())
         return {};
      for (int number = 0; number < 4; ++number)
         if (!cursor.consumeRun<isDigit>() || !cursor.consume(":"))
            return {};
      if (!cursor.consumeOne<isSpace>() || !cursor.consume("["))
         return {};
      std::string_view const disk = cursor.run<isLetter>();
      bool const isError = cursor.consume("]") && consumeOneOf(cursor, " Unhandled error", "  Sense Key : ");
      return isError ? disk : std::string_view();
   }

   std::string_view updateRequest(Cursor cursor) {
      bool const isError = cursor.consume("blk_update_request: I/O error, dev ");
      return isError ? deviceAndBlock(cursor, ", sector ") : std::string_view();
   }

   std::string_view endRequest(Cursor cursor) {
      if (!cursor.consume("end_request:"))
         return {};
      return last("error, dev ", cursor.at, requestSearched_,
                  [](Cursor behind) { return deviceAndBlock(behind, ", sector "); });
   }

   std::string_view bufferError(Cursor cursor) {
      bool const isError = cursor.consume("Buffer I/O error on device ");
      return isError ? deviceAndBlock(cursor, ", logical block ") : std::string_view();
   }

   // The result of a greedy ".*" before the text: the last occurrence of the text in the line from which
   // `device` reads a name. There is none before `searched`.
   std::string_view last(std::string_view text, Place from, Place & searched, auto const & device) {
      if (from < searched)
         return {};
      searched = endOfLine(from);
      std::string_view const line = between(from, searched);
      std::string_view found;
      for (auto at = line.find(text); at != line.npos; at = line.find(text, at + text.size()))
         if (auto const name = device(Cursor{from + at + text.size(), end_}); !name.empty())
            found = name;
      return found;
   }

   // ".*interface fatal error"
   bool hasInterfaceError(Cursor cursor) {
      if (cursor.at < interfaceSearched_)
         return false;
      interfaceSearched_ = endOfLine(cursor.at);
      return between(cursor.at, interfaceSearched_).find("interface fatal error") != std::string_view::npos;
   }

   bool isFileSystemEvent(Cursor cursor) {
      if (cursor.consume("Directory bread"))
         return hasFailed(cursor);
      return consumeOneOf(cursor, "Remounting filesystem", "This should", "unable to read inode",
                          "FAT read failed", "Filesystem has been set", "Remounting read-only");
   }

   // ".*failed"
   bool hasFailed(Cursor cursor) {
      static constexpr std::string_view failed = "failed";
      Place const at = next([](auto text) { return text.find(failed); }, cursor.at, failed_);
      return at != end_ && at + failed.size() <= endOfLine(cursor.at);
   }

   // The next place that `find` finds, or the end. Calls go from left to right, so `known`, the previous
   // answer, may still be valid.
   Place next(auto const & find, Place from, Place & known) const {
      if (known < from) {
         std::string_view const rest = between(from, end_);
         known = from + std::min(rest.size(), find(rest));
      }
      return known;
   }

   Place endOfLine(Place from) {
      if (from < lineFrom_ || from > lineEnd_) {
         lineFrom_ = from;
         lineEnd_ = from + lengthOfLine(between(from, end_));
      }
      return lineEnd_;
   }

   Place begin_;
   Place end_;
   Place lineFrom_ = end_;  // of the latest line
   Place lineEnd_ = end_;
   Place usbSearched_ = begin_;
   Place interfaceSearched_ = begin_;
   Place fileSystemSearched_ = begin_;
   Place requestSearched_ = begin_;
   Place closed_ = begin_;
   Place failed_ = begin_;
};

constinit std::array<Line::Pattern, 9> const Line::patterns{{{'u', &Line::usbPort},
                                                             {'a', &Line::ataPort},
                                                             {'m', &Line::card},
                                                             {anyCharacter, &Line::fileSystem},
                                                             {'E', &Line::ext4FileSystem},
                                                             {'s', &Line::scsiDisk},
                                                             {'b', &Line::updateRequest},
                                                             {'e', &Line::endRequest},
                                                             {'B', &Line::bufferError}}};

// The possible begin of the next time stamp, behind "kernel: [". The bracket is its rarest character.
std::size_t nextStamp(std::string_view line, std::size_t from) {
   for (auto at = line.find('[', from); at != line.npos; at = line.find('[', at + 1))
      if (line.substr(0, at).ends_with("kernel: "))
         return at + 1;
   return line.npos;
}

}  // namespace

std::optional<std::string_view> deviceInKernelLine(std::string_view line) {
   line = line.substr(0, line.find('\0'));
   Line reader(line);
   std::optional<std::string_view> device;
   std::size_t open = Line::patterns.size();  // patterns before the one that gave the device
   for (auto at = nextStamp(line, 0); at != line.npos && open > 0; at = nextStamp(line, at)) {
      Cursor cursor{line.data() + at, line.data() + line.size()};
      if (!consumeStamp(cursor) || cursor.at == cursor.end)
         continue;
      for (std::size_t i = 0; i < open; ++i) {
         auto const & pattern = Line::patterns[i];
         if (pattern.first != *cursor.at && pattern.first != Line::anyCharacter)
            continue;
         if (auto const name = (reader.*pattern.reader)(cursor); !name.empty()) {
            device = name;
            open = i;
         }
      }
   }
   return device;
}

}  // namespace StorageDevices
