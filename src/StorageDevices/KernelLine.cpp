// One reader per pattern, without going back: what a repetition of a pattern takes is always followed by a
// character that it cannot take, so there is one length that it can have. Where that is not so, ".*" and the
// time stamp, a comment says which of several ways the expression prefers.
#include "StorageDevices/KernelLine.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "StorageDevices/CharacterClasses.h"
#include "StorageDevices/TextCursor.h"

namespace StorageDevices {
namespace {

// "\s*\d{1,}.\d{1,6}\]\s*", from behind the opening bracket. Any character may separate the two numbers.
// It may be a digit too, as in "1111]", which then is what it must be, or the closing bracket, as in
// "111]1]". Of the latter the expression prefers to read more; nothing that it would find behind "111]" is
// missed, since no pattern goes on with "1]" but the one with ".*", for which both ends are alike.
bool takesStamp(Cursor & cursor) {
   cursor.run<isSpace>();
   std::size_t const digits = cursor.run<isDigit>().size();
   if (digits == 0)
      return false;
   Cursor separated = cursor;
   bool const isSeparated = separated.takesOne<isInLine>() && separated.takesRun<isDigit>() &&
                            separated.at - cursor.at <= 1 + 6 && separated.takes("]");
   if (isSeparated)
      cursor = separated;
   else if (digits < 3 || !cursor.takes("]"))
      return false;
   cursor.run<isSpace>();
   return true;
}

bool takesOneOf(Cursor & cursor, auto const &... texts) {
   return (cursor.takes(texts) || ...);
}

bool isUsbEvent(Cursor cursor) {
   if (!cursor.takesRun<isSpace>())
      return false;
   if (takesOneOf(cursor, "USB disconnect, device number", "USB disconnect, address",
                  "device descriptor read"))
      return true;
   return cursor.takes("reset ") && cursor.takesRun<isLower>() && cursor.takes("-speed USB device number");
}

// "\{ [a-zA-Z0-9 ]+ \}": the last blank is not one of the words'.
bool isBraced(Cursor cursor) {
   if (!cursor.takes("{ "))
      return false;
   std::string_view const words = cursor.run<isAlnumOrBlank>();
   return words.size() >= 2 && words.ends_with(' ') && cursor.takes("}");
}

bool isAtaEvent(Cursor cursor) {
   if (takesOneOf(cursor, "SError: ", "error: "))
      return isBraced(cursor);
   return takesOneOf(cursor, "internal fatal error", "COMRESET failed", "hard resetting link",
                     "failed command:");
}

// "(:|.\d+:)\s+". Only one of the two can be: blank or digit follows the first character. Digits of the port
// may be read as the unit's too, as in "ata123:", but the port's name takes as many as it can.
bool takesAtaUnit(Cursor & cursor) {
   Cursor const unit = cursor;
   if (cursor.takes(":") && cursor.takesRun<isSpace>())
      return true;
   cursor = unit;
   return cursor.takesOne<isInLine>() && cursor.takesRun<isDigit>() && cursor.takes(":") &&
          cursor.takesRun<isSpace>();
}

// "error -5 ...", from behind "error -".
bool isCardError(Cursor cursor) {
   if (!cursor.takesRun<isDigit>())
      return false;
   if (cursor.takes(" sending status command"))
      return true;
   return cursor.takes(" transferring data, sector ") && cursor.takesRun<isDigit>() &&
          cursor.takes(", nr ") && cursor.takesRun<isDigit>() && cursor.takes(", cmd response");
}

// "([a-zA-Z0-9]+), sector \d+" and its like.
std::string_view deviceAndBlock(Cursor cursor, std::string_view block) {
   std::string_view const device = cursor.run<isAlnum>();
   bool const isFound = !device.empty() && cursor.takes(block) && cursor.takesOne<isDigit>();
   return isFound ? device : std::string_view();
}

// The patterns behind one time stamp. The same object is asked for every stamp of a line, from left to right,
// and does not search again what it has searched in vain: many stamps take no more time than one.
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
      if (!cursor.takes("usb ") || !cursor.takesRun<isDigit>() || !cursor.takes("-") ||
          !cursor.takesRun<isDigit>())
         return {};
      return last(":", cursor.at, usbSearched_, [port](Cursor behind) {
         return isUsbEvent(behind) ? between(port, behind.at - 1) : std::string_view();
      });
   }

   std::string_view ataPort(Cursor cursor) {
      Place const port = cursor.at;
      if (!cursor.takes("ata") || !cursor.takesRun<isDigit>())
         return {};
      std::string_view const name = between(port, cursor.at);
      if (!takesAtaUnit(cursor) || !(isAtaEvent(cursor) || hasInterfaceError(cursor)))
         return {};
      return name;
   }

   std::string_view card(Cursor cursor) {
      Place const start = cursor.at;
      if (!takesOneOf(cursor, "mmc0:", "mmcblk0:"))
         return {};
      std::string_view const name = between(start, cursor.at - 1);
      if (!cursor.takesRun<isSpace>())
         return {};
      bool const isError =
          cursor.takes("Timeout waiting for hardware") || (cursor.takes("error -") && isCardError(cursor));
      return isError ? name : std::string_view();
   }

   std::string_view fileSystem(Cursor cursor) {
      auto const closing = [](std::string_view text) { return findPair(text, ')', ':'); };
      if (next(closing, cursor.at, closed_) == end_)
         return {};  // nearly all lines end here, and sooner than the search below would know
      return last("(", cursor.at, fileSystemSearched_, [this](Cursor behind) {
         std::string_view const device = behind.run<isAlnum>();
         bool const isEvent =
             !device.empty() && behind.takes("):") && behind.takesOne<isSpace>() && isFileSystemEvent(behind);
         return isEvent ? device : std::string_view();
      });
   }

   std::string_view ext4FileSystem(Cursor cursor) {
      if (!cursor.takes("EXT4-fs ") || !cursor.takesRun<isLower>() || !cursor.takes(" (device "))
         return {};
      std::string_view const device = cursor.run<isAlnum>();
      return cursor.takes("):") ? device : std::string_view();
   }

   std::string_view scsiDisk(Cursor cursor) {
      if (!cursor.takes("sd") || !cursor.takesOne<isSpace>())
         return {};
      for (int number = 0; number < 4; ++number)
         if (!cursor.takesRun<isDigit>() || !cursor.takes(":"))
            return {};
      if (!cursor.takesOne<isSpace>() || !cursor.takes("["))
         return {};
      std::string_view const disk = cursor.run<isLetter>();
      bool const isError = cursor.takes("]") && takesOneOf(cursor, " Unhandled error", "  Sense Key : ");
      return isError ? disk : std::string_view();
   }

   std::string_view updateRequest(Cursor cursor) {
      bool const isError = cursor.takes("blk_update_request: I/O error, dev ");
      return isError ? deviceAndBlock(cursor, ", sector ") : std::string_view();
   }

   std::string_view endRequest(Cursor cursor) {
      if (!cursor.takes("end_request:"))
         return {};
      return last("error, dev ", cursor.at, requestSearched_,
                  [](Cursor behind) { return deviceAndBlock(behind, ", sector "); });
   }

   std::string_view bufferError(Cursor cursor) {
      bool const isError = cursor.takes("Buffer I/O error on device ");
      return isError ? deviceAndBlock(cursor, ", logical block ") : std::string_view();
   }

   // What a greedy ".*" before the text finds: the last place of the text in the line from which `device`
   // reads one. Up to `searched` there is none.
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
      if (cursor.takes("Directory bread"))
         return hasFailed(cursor);
      return takesOneOf(cursor, "Remounting filesystem", "This should", "unable to read inode",
                        "FAT read failed", "Filesystem has been set", "Remounting read-only");
   }

   // ".*failed"
   bool hasFailed(Cursor cursor) {
      static constexpr std::string_view failed = "failed";
      Place const at = next([](auto text) { return text.find(failed); }, cursor.at, failed_);
      return at != end_ && at + failed.size() <= endOfLine(cursor.at);
   }

   // The next place that `find` finds, or the end. Asked from left to right, so `known`, the last answer, may
   // still be right.
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
   Place lineFrom_ = end_;  // the line asked for last
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

// Where the next time stamp may begin: behind "kernel: [", of which the bracket is the rarest character.
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
   std::size_t open = Line::patterns.size();  // how many patterns would precede the one that gave the device
   for (auto at = nextStamp(line, 0); at != line.npos && open > 0; at = nextStamp(line, at)) {
      Cursor cursor{line.data() + at, line.data() + line.size()};
      if (!takesStamp(cursor) || cursor.at == cursor.end)
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
