// The search in a stat line finds what std::regex finds.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "Check.h"
#include "StorageDevices/BlockStat.h"
#include "tests/support/Regex.h"

namespace {

constexpr std::size_t oracleLimit = 300;  // std::regex recurses

// Empty when it is beyond 64 bits.
std::optional<std::uint64_t> number(std::string digits) {
   digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size() - 1));
   std::string const most = "18446744073709551615";
   if (digits.size() > most.size() || (digits.size() == most.size() && digits > most))
      return std::nullopt;
   return std::stoull(digits);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
   std::string const line(data, data + size);
   auto const stat = StorageDevices::readBlockStat(line);
   if (stat) {
      FUZZ_CHECK(line.find(std::to_string(stat->sectorsRead)) != std::string::npos);
      FUZZ_CHECK(line.find(std::to_string(stat->sectorsWritten)) != std::string::npos);
   }
   if (size > oracleLimit)
      return 0;
   static Support::Regex const pattern(R"(\d+\s+\d+\s+(\d+)\s+\d+\s+\d+\s+\d+\s+(\d+))");
   std::optional<StorageDevices::BlockStat> expected;
   if (auto const match = pattern.search(line); !match.empty()) {
      auto const read = number(std::string{match[1]});
      auto const written = number(std::string{match[2]});
      if (read && written)
         expected = StorageDevices::BlockStat{*read, *written};
   }
   FUZZ_CHECK(stat == expected);
   return 0;
}
