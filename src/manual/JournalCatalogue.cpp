#include "manual/JournalCatalogue.h"

#include <cstddef>
#include <stdexcept>
#include <string_view>

#include "agent/logs/MessageIds.h"

namespace Manual {

namespace {

// The arguments stand in the entry itself. The journal would put a field in the place of its name between two
// "@", but only one without digits.
std::string subjectOf(Vorn::LogDescriptor const & message) {
   std::string subject = message.format;
   for (std::size_t at = subject.find("%s"); at != std::string::npos; at = subject.find("%s"))
      subject.replace(at, 2, "…");
   return subject;
}

std::string_view idOf(Vorn::LogDescriptor const & message) {
   if (auto const id = Agent::messageId(message.name))
      return *id;
   throw std::invalid_argument{
       std::string{message.name} +
       " has no MESSAGE_ID: invent one in agent/logs/MessageIds.h (systemd-id128 new)"};
}

std::string entryOf(Vorn::LogDescriptor const & message, std::string const & support) {
   std::string entry = "-- ";
   entry.append(idOf(message)).append("\nSubject: ").append(subjectOf(message));
   entry.append("\nDefined-By: StorageDevices\n");
   if (!support.empty())
      entry.append("Support: ").append(support).append("\n");
   entry.append("Documentation: man:storagedevices-messages(7)\n\n");
   entry.append(message.name).append("\n\n").append(message.explanation);
   return entry.append("\n\n").append(message.recommendedAction.text()).append("\n\n");
}

}  // namespace

std::string journalCatalogue(std::span<Vorn::LogDescriptor const> messages, std::string const & support) {
   std::string text;
   for (Vorn::LogDescriptor const & message : messages)
      text += entryOf(message, support);
   return text;
}

}  // namespace Manual
