// Text that comes from devices, files and the network, made safe to show; times as text.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Agent {

// The text with everything that could steer a terminal or forge a log line written out: control
// characters and DEL as \n, \r, \t or \xNN, bytes that are no UTF-8 as \xNN, the C1 controls, line
// separators and bidirectional controls as \uNNNN. A backslash stays as it is.
std::string escaped(std::string_view text);

// The text with every ill-formed UTF-8 sequence replaced by U+FFFD, as JSON needs it.
std::string validUtf8(std::string_view text);

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
