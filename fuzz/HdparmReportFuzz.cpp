// The search in an hdparm report finds what std::regex finds, and stays inside the report.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"  // gcc 12 sees ghosts in <regex> under sanitizers
#endif

#include <cstddef>
#include <cstdint>
#include <optional>
#include <regex>
#include <string>

#include "Check.h"
#include "StorageDevices/HdparmReport.h"

namespace {

using StorageDevices::HdparmIdentity;

constexpr std::size_t oracleLimit =
    600;  // std::regex recurses, and its time grows with the cube of the length

void checkInside(std::string_view whole, std::string_view part) {
   std::less_equal<> const notAfter;
   FUZZ_CHECK(notAfter(whole.data(), part.data()));
   FUZZ_CHECK(notAfter(part.data() + part.size(), whole.data() + whole.size()));
}

std::string_view group(std::cmatch const & match, std::size_t number) {
   return {match[number].first, static_cast<std::size_t>(match[number].length())};
}

void checkIdentity(std::string const & report, std::optional<HdparmIdentity> const & identity) {
   static std::regex const pattern(
       R"(\s*Model Number:\s+([\w -\.]*)\n\s*Serial Number:\s+([\w -]*)\n\s*Firmware Revision:\s+([\w -\/]*)\n)");
   std::cmatch match;
   bool const found = std::regex_search(report.c_str(), match, pattern);
   FUZZ_CHECK(found == identity.has_value());
   if (found)
      FUZZ_CHECK((HdparmIdentity{group(match, 1), group(match, 2), group(match, 3)} == *identity));
}

void checkSize(std::string const & report, std::optional<std::string_view> const & size) {
   static std::regex const pattern(R"(\((\d+) GB\))");
   std::cmatch match;
   bool const found = std::regex_search(report.c_str(), match, pattern);
   FUZZ_CHECK(found == size.has_value());
   if (found)
      FUZZ_CHECK(group(match, 1) == *size);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
   std::string const report(data, data + size);
   auto const identity = StorageDevices::findIdentity(report);
   if (identity) {
      for (auto const part : {identity->model, identity->serial, identity->firmware}) {
         checkInside(report, part);
         auto const stripped = StorageDevices::strippedMatch(part);
         FUZZ_CHECK(part.starts_with(stripped) && !stripped.ends_with(' '));
      }
   }
   auto const sizeGb = StorageDevices::findSizeGb(report);
   if (sizeGb) {
      checkInside(report, *sizeGb);
      FUZZ_CHECK(!sizeGb->empty());
      StorageDevices::parseSizeGb(*sizeGb);
   }
   if (report.size() <= oracleLimit) {
      checkIdentity(report, identity);
      checkSize(report, sizeGb);
   }
   return 0;
}
