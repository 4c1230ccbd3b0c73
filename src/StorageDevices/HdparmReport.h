// Reads a disk's identity and size from the identification report of `hdparm -I`.
//
// The report is untrusted data of any length and content. Reading takes time linear in its length, without
// recursion. The report is read as a C string: it ends at its first NUL.
#pragma once

#include <cstdint>
#include <optional>
#include <regex>
#include <string>
#include <string_view>

namespace StorageDevices {

// The three values with their trailing blanks. They point into the report.
struct HdparmIdentity {
   std::string_view model;     // word characters and 0x20 (blank) to 0x2E (full stop)
   std::string_view serial;    // word characters, blank and hyphen
   std::string_view firmware;  // word characters and 0x20 (blank) to 0x2F (solidus)

   bool operator==(HdparmIdentity const &) const = default;
};

// Finds the first place where the lines "Model Number:", "Serial Number:" and "Firmware Revision:" follow
// each other with only white space between them. Each value reaches to the end of its line. Nothing when
// there is no such place. Equals a search for this ECMAScript pattern:
//    \s*Model Number:\s+([\w -\.]*)\n\s*Serial Number:\s+([\w -]*)\n\s*Firmware Revision:\s+([\w -\/]*)\n
std::optional<HdparmIdentity> findIdentity(std::string_view report);

// The digits of the first "(<digits> GB)", at least one, as a part of the report; nothing when there is no
// such text. Equals a search for the ECMAScript pattern \((\d+) GB\).
std::optional<std::string_view> findSizeGb(std::string_view report);

// The number of the leading digits, in gigabytes of 10^9 bytes. Nothing without digits, and for a number
// above 4294967295.
std::optional<std::uint32_t> parseSizeGb(std::string_view digits);

// The text without its trailing blanks (0x20). Other white space stays.
std::string_view strippedMatch(std::string_view text);
// The same for the match of a group of a regular expression; empty when the group did not match.
template <class Iterator>
std::string strippedMatch(std::sub_match<Iterator> const & match) {
   return std::string{strippedMatch(std::string_view{match.str()})};
}

}  // namespace StorageDevices
