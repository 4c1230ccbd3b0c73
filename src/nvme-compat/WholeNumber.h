// Whole numbers in the ways that versions of nvme have written them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace Agent::Compat {

// Each returns the number without its fraction, the largest 64-bit number for one beyond it, and nothing for
// what is no number of its kind or below zero.

// A number of JSON, also with a fraction or an exponent ("310.0", "1.5e8").
std::optional<std::int64_t> wholeNumber(std::string_view jsonNumber);

// A number in quotes. Versions have written them plain ("3"), with six decimals behind the locale's decimal
// sign ("3.000000", "3,000000"), and with its thousands separator ("1,234,567", also '.', blank, apostrophe
// or one of Unicode's; those of several bytes not always every three digits).
//
// A single '.' or ',' with exactly three digits behind it and at most three before it is taken for the
// thousands separator, since decimals have always been six; so "1,234" is 1234. It is a decimal sign where it
// cannot separate thousands: "1234,567" is 1234, "0.123" is 0.
std::optional<std::int64_t> wholeNumberInQuotes(std::string_view text);

}  // namespace Agent::Compat
