// The device read from a kernel line is the one that std::regex finds, and a part of the line.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Check.h"
#include "StorageDevices/KernelLine.h"
#include "StorageDevices/KernelLinePatterns.h"
#include "tests/support/Regex.h"

namespace {

// std::regex recurses, and its time on some lines grows with the cube of their length and more.
constexpr std::size_t oracleLimit = 160;

void checkInside(std::string_view whole, std::string_view part) {
   std::less_equal<> const notAfter;
   FUZZ_CHECK(notAfter(whole.data(), part.data()));
   FUZZ_CHECK(notAfter(part.data() + part.size(), whole.data() + whole.size()));
}

std::optional<std::string> deviceByRegex(char const * line) {
   static std::vector<Support::Regex> const expressions = [] {
      std::vector<Support::Regex> all;
      all.reserve(StorageDevices::kernelLinePatterns.size());
      for (auto const & pattern : StorageDevices::kernelLinePatterns)
         all.emplace_back(pattern.expression);
      return all;
   }();
   for (auto const & expression : expressions)
      if (auto const match = expression.search(line); !match.empty())
         return std::string{match[1]};
   return std::nullopt;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
   std::string const line(data, data + size);
   auto const device = StorageDevices::deviceInKernelLine(line);
   if (device) {
      checkInside(line, *device);
      FUZZ_CHECK(!device->empty());
   }
   if (line.size() <= oracleLimit)
      FUZZ_CHECK(deviceByRegex(line.c_str()) == device);
   return 0;
}
