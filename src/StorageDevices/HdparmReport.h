// Reads a disk's identity and size out of the identification report of `hdparm -I`.
//
// The report is outside data of any length and content. Reading it takes time linear in its length and
// no recursion. It is read as a C string: whatever follows its first NUL is not seen.
#pragma once

#include <cstdint>
#include <optional>
#include <regex>
#include <string>
#include <string_view>

namespace StorageDevices {

// The three values as they stand in the report, trailing blanks included. They point into the report.
struct HdparmIdentity {
   std::string_view model;     // word characters and 0x20 (blank) to 0x2E (full stop)
   std::string_view serial;    // word characters, blank and hyphen
   std::string_view firmware;  // word characters and 0x20 (blank) to 0x2F (solidus)

   bool operator==(HdparmIdentity const &) const = default;
};

// The first place in the report where the lines "Model Number:", "Serial Number:" and "Firmware
// Revision:" follow each other with nothing but white space between them and each value runs to the end
// of its line; nothing when there is no such place. Finds what a search for this ECMAScript pattern finds:
//    \s*Model Number:\s+([\w -\.]*)\n\s*Serial Number:\s+([\w -]*)\n\s*Firmware Revision:\s+([\w -\/]*)\n
std::optional<HdparmIdentity> findIdentity(std::string_view report);

// The digits of the first "(<digits> GB)", at least one; nothing when the report has no such text. They
// point into the report. Finds what a search for the ECMAScript pattern \((\d+) GB\) finds.
std::optional<std::string_view> findSizeGb(std::string_view report);

// The size in gigabytes of 10^9 bytes that the leading digits spell; nothing when there are none or when
// the number is above 4294967295.
std::optional<std::uint32_t> parseSizeGb(std::string_view digits);

// The text without its trailing blanks. Only 0x20 is a blank here; other white space stays.
std::string_view strippedMatch(std::string_view text);
// The same of what a group of a regular expression has matched; empty when it has not.
template <class Iterator>
std::string strippedMatch(std::sub_match<Iterator> const & match) {
   return std::string{strippedMatch(std::string_view{match.str()})};
}

}  // namespace StorageDevices
