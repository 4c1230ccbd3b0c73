#include "StorageDevices/BlockStat.h"

#include <array>
#include <charconv>
#include <cstddef>

#include "StorageDevices/CharacterClasses.h"

namespace StorageDevices {

namespace {

// The line's numbers one after the other, and whether one belongs to the row of the one before it.
class NumberScan {
 public:
   explicit NumberScan(std::string_view line) : rest_{line} {}

   // Empty at the end of the line.
   std::string_view next() {
      joined_ = true;
      while (!rest_.empty() && !isDigit(rest_.front())) {
         joined_ = joined_ && isSpace(rest_.front());
         rest_.remove_prefix(1);
      }
      std::size_t length = 0;
      while (length < rest_.size() && isDigit(rest_[length]))
         ++length;
      std::string_view const number = rest_.substr(0, length);
      rest_.remove_prefix(length);
      return number;
   }
   bool joined() const { return joined_; }

 private:
   std::string_view rest_;
   bool joined_ = true;
};

std::optional<std::uint64_t> wholeNumber(std::string_view digits) {
   std::uint64_t value = 0;
   auto const result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
   return result.ec == std::errc{} ? std::optional{value} : std::nullopt;
}

}  // namespace

std::optional<BlockStat> readBlockStat(std::string_view line) {
   constexpr std::size_t readAt = 2;
   constexpr std::size_t writtenAt = 6;
   std::array<std::string_view, writtenAt + 1> row;
   std::size_t count = 0;
   NumberScan scan{line};
   while (count < row.size()) {
      std::string_view const number = scan.next();
      if (number.empty())
         return std::nullopt;
      if (!scan.joined())
         count = 0;
      row[count++] = number;
   }
   auto const read = wholeNumber(row[readAt]);
   auto const written = wholeNumber(row[writtenAt]);
   if (!read || !written)
      return std::nullopt;
   return BlockStat{*read, *written};
}

}  // namespace StorageDevices
