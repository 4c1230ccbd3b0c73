// The sinks of the agent's log, by its configured destination.
#pragma once

#include <memory>

#include "agent/config/Config.h"
#include "agent/logs/LogSink.h"

namespace Agent {

struct LogSinks {
   std::unique_ptr<LogSink> sink;
   std::unique_ptr<LogSink> substitute;  // standard error where `sink` is a collector; else null
};

// The collectors' sockets are /run/systemd/journal/socket and /dev/log, below the simulated root if there is
// one.
LogSinks logSinksFor(LogDestination destination);

// Whether the descriptor leads to the journal, as systemd says in JOURNAL_STREAM. A program in a terminal of
// a systemd session inherits that variable too, but its standard error is another.
bool leadsToJournal(int fd);

}  // namespace Agent
