#include "agent/logs/LogForms.h"

#include <syslog.h>
#include <unistd.h>

#include <array>
#include <ctime>
#include <string_view>

#include "agent/logs/MessageIds.h"
#include "base/Text.h"

namespace Agent {

namespace {

constexpr std::string_view identifier = "storagedevices";

// Cuts the text to `most` bytes. A cut must not split a UTF-8 character.
std::string bounded(std::string text, std::size_t most) {
   constexpr std::string_view mark = "…";
   if (text.size() <= most)
      return text;
   std::size_t end = most - mark.size();
   while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0U) == 0x80U)
      --end;
   text.resize(end);
   return text.append(mark);
}

std::string_view wordOf(LogEntry const & entry) {
   return entry.kind == LogEntry::Kind::trace ? "trace" : Base::severityWord(entry.severity);
}

// The entry where its time, its severity and the program stand elsewhere.
std::string headline(LogEntry const & entry) {
   switch (entry.kind) {
      case LogEntry::Kind::message:
         return entry.origin + ": " + entry.text;
      case LogEntry::Kind::trace:
         return "trace " + entry.origin + ": " + entry.text;
      case LogEntry::Kind::notice:
         break;
   }
   return entry.text;
}

// "Nov  2 19:04:58", as syslog writes times.
std::string localTime(Vorn::Seconds utc) {
   constexpr Vorn::Seconds latest = 253402300799;  // of the year 9999
   auto const seconds = static_cast<std::time_t>(utc >= 0 && utc <= latest ? utc.value() : 0);
   std::tm fields{};
   localtime_r(&seconds, &fields);
   std::array<char, 32> buffer{};
   return {buffer.data(), std::strftime(buffer.data(), buffer.size(), "%b %e %H:%M:%S", &fields)};
}

void addField(std::string & fields, std::string_view name, std::string value) {
   fields.append(name).append("=").append(bounded(std::move(value), longestLine)).append("\n");
}

void addMessageFields(std::string & fields, LogEntry const & entry) {
   if (auto const id = messageId(entry.origin))
      addField(fields, "MESSAGE_ID", std::string{*id});
   addField(fields, "STORAGEDEVICE_NAME", entry.origin);
   addField(fields, "STORAGEDEVICE_TIME", Base::utcTime(entry.utc.value()));
   for (std::size_t i = 0; i < entry.arguments.size(); ++i)
      addField(fields, "STORAGEDEVICE_ARG" + std::to_string(i), printable(entry.arguments[i].view()));
}

}  // namespace

std::string stderrLine(LogEntry const & entry) {
   std::string line = Base::utcTime(entry.utc.value());
   line.append(" ").append(wordOf(entry)).append(" ");
   line.append(entry.kind == LogEntry::Kind::notice ? identifier : entry.origin);
   line.append(": ").append(entry.text);
   return bounded(std::move(line), longestLine - 1) + "\n";
}

std::string syslogDatagram(LogEntry const & entry) {
   std::string text = "<" + std::to_string(LOG_MAKEPRI(LOG_DAEMON, entry.severity)) + ">";
   text.append(localTime(entry.utc)).append(" ").append(identifier);
   text.append("[").append(std::to_string(getpid())).append("]: ").append(headline(entry));
   return bounded(std::move(text), longestLine);
}

std::string journalDatagram(LogEntry const & entry) {
   std::string fields;
   addField(fields, "MESSAGE", headline(entry));
   addField(fields, "PRIORITY", std::to_string(entry.severity));
   addField(fields, "SYSLOG_IDENTIFIER", std::string{identifier});
   addField(fields, "SYSLOG_FACILITY", std::to_string(LOG_FAC(LOG_DAEMON)));
   if (entry.kind == LogEntry::Kind::message)
      addMessageFields(fields, entry);
   return fields;
}

}  // namespace Agent
