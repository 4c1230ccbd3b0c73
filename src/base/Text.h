// Text that comes from devices, files and the network, made safe to show; times as text.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Agent {

// Text of any bytes as UTF-8, so that two that differ stay two: a byte of an ill-formed sequence becomes \xNN
// (two lower-case digits), and so does a backslash that stands before such an xNN (\x5c). All else stays as
// it is. What comes from a device passes it once, on its way into a document or a log; whoever turns every
// \xNN back into its byte has the text.
std::string validUtf8(std::string_view text);

// The text for a terminal or a line of a log, with everything written out that could steer the one or forge
// the other, or that shows nothing of itself: control characters and DEL as \n, \r, \t or \xNN, bytes that
// are no UTF-8 as \xNN, the C1 controls, separators of lines and paragraphs, bidirectional controls and other
// characters without a shape as \uNNNN or \UNNNNNNNN. A backslash stays as it is, so that what was escaped
// already, or came through `validUtf8`, changes no more.
std::string escaped(std::string_view text);

// Terminal cells that a UTF-8 text takes up: none for combining marks, two for East Asian wide characters.
std::size_t displayWidth(std::string_view text);

// The text itself if it fits in `width` cells, else as much of it as fits before a "…".
std::string cutToWidth(std::string_view text, std::size_t width);

// Seconds since 1970 in RFC 3339, UTC, rounded to milliseconds: "2026-11-20T19:04:58.500Z".
// "-" for a time that is no number or outside the years 0 to 9999.
std::string utcTime(double secondsSinceEpoch);

// The word for a syslog severity: 3 "error", 4 "warning", 6 "info" and so on; "unknown" outside 0..7.
std::string_view severityWord(int severity);

}  // namespace Agent
