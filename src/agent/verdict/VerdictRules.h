// The rules for the verdict on a disk, one row per reason. They read the records alone, so a reason lasts
// exactly as long as its cause.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "agent/config/Config.h"
#include "agent/verdict/DiskRecords.h"
#include "agent/verdict/Verdict.h"

namespace Agent {

// The finding of a rule that applies.
struct Finding {
   std::string detail{};                  // replaces "{}" in the rule's text
   std::optional<Vorn::Seconds> since{};  // UTC of its cause, where the records have it
};

struct VerdictRule {
   char const * code;
   Verdict verdict;
   std::optional<Finding> (*find)(DiskRecords const & records, Config::VerdictLimits const & limits);
   char const * text;
};

// The worst first.
std::span<VerdictRule const> verdictRules();

// The text of a rule with the detail of a finding.
std::string reasonText(VerdictRule const & rule, Finding const & finding);

}  // namespace Agent
