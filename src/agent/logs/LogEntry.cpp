#include "agent/logs/LogEntry.h"

#include <syslog.h>

#include "agent/logs/LogForms.h"
#include "base/Text.h"

namespace Agent {

std::string printable(std::string_view text) {
   return Base::escaped(Base::validUtf8(text));
}

LogEntry entryOf(Vorn::Host::LogMessage const & message) {
   return {LogEntry::Kind::message, message.descriptor.severity,    message.utc,
           message.descriptor.name, printable(message.text.view()), message.arguments};
}

LogEntry entryOf(Vorn::Host::TraceLine const & trace, Vorn::Seconds utc) {
   std::string origin{trace.facility};
   origin.append("/").append(std::to_string(trace.level)).append(" ").append(trace.function);
   std::string_view text = std::string_view{trace.text}.substr(0, longestLine);
   if (text.starts_with(' '))
      text.remove_prefix(1);
   return {LogEntry::Kind::trace, LOG_DEBUG, utc, std::move(origin), printable(text), {}};
}

LogEntry noticeEntry(int severity, std::string_view text, Vorn::Seconds utc) {
   return {LogEntry::Kind::notice, severity, utc, {}, Base::escaped(text), {}};
}

}  // namespace Agent
