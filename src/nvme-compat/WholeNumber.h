// Reads numbers in the spellings of the versions of nvme.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace NvmeCompat {

// Each drops the fraction. A number beyond 64 bits gives the largest one. A negative number, and a text of
// another form, gives nothing.

// A JSON number, which may have a fraction or an exponent ("310.0", "1.5e8").
std::optional<std::int64_t> truncatedJsonNumber(std::string_view jsonNumber);

// A number in quotes. Versions write it plain ("3"), with six decimals behind the locale's decimal sign
// ("3.000000", "3,000000"), or with the locale's thousands separator ("1,234,567"). That may also be '.', a
// blank, an apostrophe or a Unicode separator; those of several bytes do not always separate three digits.
//
// A single '.' or ',' with exactly three digits behind it and at most three before it is a thousands
// separator: "1,234" is 1234. For there are always six decimals. Where it cannot separate thousands it is a
// decimal sign: "1234,567" is 1234, "0.123" is 0.
std::optional<std::int64_t> truncatedQuotedNumber(std::string_view text);

}  // namespace NvmeCompat
