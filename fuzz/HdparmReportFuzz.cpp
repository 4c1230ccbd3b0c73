// The search in an hdparm report finds what std::regex finds, and stays inside the report.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "Check.h"
#include "StorageDevices/HdparmReport.h"
#include "tests/support/Regex.h"

namespace {

using StorageDevices::HdparmIdentity;

constexpr std::size_t oracleLimit =
    600;  // std::regex recurses, and its time grows with the cube of the length

void checkInside(std::string_view whole, std::string_view part) {
   std::less_equal<> const notAfter;
   FUZZ_CHECK(notAfter(whole.data(), part.data()));
   FUZZ_CHECK(notAfter(part.data() + part.size(), whole.data() + whole.size()));
}

void checkIdentity(std::string const & report, std::optional<HdparmIdentity> const & identity) {
   static Support::Regex const pattern(
       R"(\s*Model Number:\s+([\w -\.]*)\n\s*Serial Number:\s+([\w -]*)\n\s*Firmware Revision:\s+([\w -\/]*)\n)");
   auto const match = pattern.search(report.c_str());
   bool const found = !match.empty();
   FUZZ_CHECK(found == identity.has_value());
   if (found)
      FUZZ_CHECK((HdparmIdentity{match[1], match[2], match[3]} == *identity));
}

void checkSize(std::string const & report, std::optional<std::string_view> const & size) {
   static Support::Regex const pattern(R"(\((\d+) GB\))");
   auto const match = pattern.search(report.c_str());
   bool const found = !match.empty();
   FUZZ_CHECK(found == size.has_value());
   if (found)
      FUZZ_CHECK(match[1] == *size);
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
