// The catalogue of log messages as text and as JSON.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>

namespace Agent {

// One message of the catalogue, pointing into texts that live elsewhere.
struct CatalogueEntry {
   std::string_view name;
   int severity = 0;  // as in syslog: 3 error, 4 warning, 6 informational
   std::string_view format;
   std::string_view explanation;
   // A text, or the number of one of the log framework's standard actions.
   std::variant<std::string_view, std::uint8_t> recommendedAction;
};

// {"messages": [{"name", "severity", "format", "explanation", "recommendedAction"}]} in the given order,
// with a line break at the end.
std::string catalogueJson(std::span<CatalogueEntry const> entries);

// A paragraph per message in the given order.
std::string catalogueText(std::span<CatalogueEntry const> entries);

}  // namespace Agent
