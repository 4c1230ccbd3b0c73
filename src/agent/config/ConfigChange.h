// The changes of a reread configuration, key by key.
#pragma once

#include <string>
#include <vector>

#include "agent/config/Config.h"

namespace Agent {

// Keys in the file's spelling, sections joined by dots. A table with free keys counts as one key.
struct ConfigChange {
   std::vector<std::string> applied;
   std::vector<std::string> atNextStart;  // these keep their values until the agent restarts
};

// Copies the values of `reread` to `running`, except for keys that need a restart: sockets, directories, the
// time scale. Answers the keys that differed.
ConfigChange applyConfig(Config & running, Config const & reread);

// The change as text: "poll_interval, trace take effect now; clock.time_scale takes effect at the next
// start", or "nothing in it has changed".
std::string changeText(ConfigChange const & change);

}  // namespace Agent
