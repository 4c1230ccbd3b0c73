// The tables of the manual pages, in the markup of scdoc. They come from what the programs themselves use, so
// that a page cannot lag behind.
#pragma once

#include <istream>
#include <span>
#include <string>
#include <string_view>

#include "agent/documents/MetricDefinitions.h"
#include "agent/verdict/VerdictRules.h"
#include "runtime/Vorn/Log.h"

namespace Manual {

// A text whose characters are no markup.
std::string plain(std::string_view text);

// A section per message: its format, severity, meaning and recommended action.
std::string messagesTable(std::span<Vorn::LogDescriptor const> messages);

// An entry per reason, below a section per verdict.
std::string verdictsTable(std::span<Agent::VerdictRule const> rules);

// An entry per metric: its name and labels as a query has them, its type, and what it says.
std::string metricsTable(std::span<Agent::MetricDefinition const * const> metrics);

// An entry per key of the installed configuration ("#key = value  # meaning"), below a section per table.
std::string configurationTable(std::istream & configuration);

}  // namespace Manual
