#include "StorageDevices/BlockStat.h"

#include <array>
#include <cstddef>

#include "StorageDevices/CharacterClasses.h"
#include "base/Number.h"

namespace StorageDevices {

namespace {

// Iterates over the numbers of the line, and shows whether only white space separates a number from the
// previous.
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
   auto const read = Base::parseWhole<std::uint64_t>(row[readAt]);
   auto const written = Base::parseWhole<std::uint64_t>(row[writtenAt]);
   if (!read || !written)
      return std::nullopt;
   return BlockStat{*read, *written};
}

}  // namespace StorageDevices
