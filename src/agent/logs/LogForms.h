// The forms of an entry: a line for standard error, a datagram for syslog, one for the journal.
#pragma once

#include <climits>
#include <cstddef>
#include <string>

#include "agent/logs/LogEntry.h"

namespace Agent {

using LogForm = std::string (*)(LogEntry const &);

// The most bytes of a line on standard error, a datagram for syslog, and a field of the journal. Beyond it a
// text ends in "…". A pipe that is ready accepts this many bytes without blocking.
inline constexpr std::size_t longestLine = PIPE_BUF;

// "<RFC 3339 UTC time> <severity word> NAME: text" and a line feed. The name of a notice is "storagedevices".
// A trace has the word "trace".
std::string stderrLine(LogEntry const & entry);

// The datagram that syslog() of the C library sends to /dev/log, which is that of RFC 3164 without a host
// name: "<PRI>Nov 20 19:04:58 storagedevices[PID]: NAME: text", facility daemon, local time. A notice has no
// name.
std::string syslogDatagram(LogEntry const & entry);

// The fields of an entry in the native protocol of systemd's journal, a line each: MESSAGE ("NAME: text"),
// PRIORITY, SYSLOG_IDENTIFIER, SYSLOG_FACILITY. A message of the library also has MESSAGE_ID,
// STORAGEDEVICE_NAME, STORAGEDEVICE_TIME (when it was logged, RFC 3339), and STORAGEDEVICE_ARG0 and so on. No
// value has a line feed, and all of them fit into one datagram.
std::string journalDatagram(LogEntry const & entry);

}  // namespace Agent
