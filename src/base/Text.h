// Makes text from devices, files and the network safe to show; formats times.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Base {

// Converts text of any bytes to UTF-8, without loss. A byte of an ill-formed sequence becomes \xNN (two
// lower-case digits), and so does a backslash before such an xNN (\x5c). Everything else stays. A text from a
// device is converted once, before it enters a document or a log. Replacing every \xNN by its byte restores
// the text.
std::string validUtf8(std::string_view text);

// Escapes text for a terminal or a line of a log, so that it can neither control the terminal nor forge a
// line. Control characters and DEL become \n, \r, \t or \xNN; bytes that are no UTF-8 become \xNN. Invisible
// characters (C1 controls, separators of lines and paragraphs, bidirectional controls and others) become
// \uNNNN or \UNNNNNNNN. A backslash stays, so an escaped text, or a result of `validUtf8`, does not change
// again.
std::string escaped(std::string_view text);

// The terminal cells of a UTF-8 text, in any locale: none for combining marks, two for wide characters.
std::size_t displayWidth(std::string_view text);

// The text if it fits into `width` cells, else the part that fits before a "…".
std::string cutToWidth(std::string_view text, std::size_t width);

// Seconds since 1970 in RFC 3339, UTC, rounded to milliseconds: "2026-11-20T19:04:58.500Z".
// "-" for a time that is no number or outside the years 0 to 9999.
std::string utcTime(double secondsSinceEpoch);

// The word for a syslog severity: 3 "error", 4 "warning", 6 "info" and so on; "unknown" outside 0..7.
std::string_view severityWord(int severity);

}  // namespace Base
