// The catalogue of log messages as text and as JSON.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace Command {

// One message of the catalogue, pointing into texts that live elsewhere.
struct CatalogueEntry {
   std::string_view name;
   int severity = 0;  // as in syslog: 3 error, 4 warning, 6 informational
   std::string_view format;
   std::string_view explanation;
   std::string_view recommendedAction;  // the sentence, of a standard action too
   // The number of the standard action; empty: the message has an action of its own.
   std::optional<std::uint8_t> standardAction;
};

// {"messages": [{"name", "severity", "format", "explanation", "recommendedAction"}]} in the given order,
// with a line break at the end. A standard action is its number, any other its text.
std::string catalogueJson(std::span<CatalogueEntry const> entries);

// A paragraph per message in the given order. Every action is a sentence.
std::string catalogueText(std::span<CatalogueEntry const> entries);

}  // namespace Command
