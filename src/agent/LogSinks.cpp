#include "agent/LogSinks.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "agent/logs/DatagramSink.h"
#include "agent/logs/LogForms.h"
#include "agent/logs/StderrSink.h"
#include "base/SimulatedUnit.h"

namespace Agent {

namespace {

LogSinks collector(char const * name, std::string const & path, LogForm form) {
   std::string const root = Base::simulatedRoot().value_or("");
   return {std::make_unique<DatagramSink>(name, root + path, form), std::make_unique<StderrSink>()};
}

}  // namespace

LogSinks logSinksFor(LogDestination destination) {
   if (destination == LogDestination::automatic)
      destination = leadsToJournal(STDERR_FILENO) ? LogDestination::journal : LogDestination::standardError;
   switch (destination) {
      case LogDestination::journal:
         return collector("the journal", "/run/systemd/journal/socket", journalDatagram);
      case LogDestination::syslog:
         return collector("syslog", "/dev/log", syslogDatagram);
      default:
         return {std::make_unique<StderrSink>(), nullptr};
   }
}

bool leadsToJournal(int fd) {
   char const * const stream = std::getenv("JOURNAL_STREAM");
   struct stat status {};
   return stream != nullptr && fstat(fd, &status) == 0 &&
          std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream;
}

}  // namespace Agent
