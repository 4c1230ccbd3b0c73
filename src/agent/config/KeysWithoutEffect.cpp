#include "agent/config/KeysWithoutEffect.h"

#include <cstdlib>
#include <optional>

namespace Agent {

namespace {

std::optional<std::string> logDestinationLine(LogDestination destination, bool underSystemd) {
   switch (destination) {
      case LogDestination::standardError:
         return std::nullopt;
      case LogDestination::journal:
         return "log.destination: \"journal\" is not supported in this version; lines go to standard error";
      case LogDestination::syslog:
         return "log.destination: \"syslog\" is not supported in this version; lines go to standard error";
      case LogDestination::automatic:
         break;
   }
   if (!underSystemd)
      return std::nullopt;
   return "log.destination: the journal gets lines of text alone, from standard error; fields of their own "
          "are not supported in this version";
}

}  // namespace

std::vector<std::string> keysWithoutEffect(Config const & config, bool underSystemd) {
   std::vector<std::string> lines;
   if (auto line = logDestinationLine(config.logDestination, underSystemd))
      lines.push_back(std::move(*line));
   if (config.history != Config::History{})
      lines.emplace_back("history: is not supported in this version; no history is kept over a restart");
   return lines;
}

bool isUnderSystemd() {
   return std::getenv("INVOCATION_ID") != nullptr;
}

}  // namespace Agent
