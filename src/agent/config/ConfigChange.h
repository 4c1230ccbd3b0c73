// What a configuration that is read again changes, key by key.
#pragma once

#include <string>
#include <vector>

#include "agent/config/Config.h"

namespace Agent {

// Keys as the file spells them, sections joined by dots. A table whose keys are free is one key.
struct ConfigChange {
   std::vector<std::string> applied;
   std::vector<std::string> atNextStart;  // these stay as they are while the agent runs
};

// Makes `running` what `reread` asks for, except for keys that need a new start: sockets, directories, the
// time scale. Says which keys differed.
ConfigChange applyConfig(Config & running, Config const & reread);

// The change in words: "poll_interval, trace hold now; clock.time_scale takes effect at the next start", or
// "nothing in it has changed".
std::string changeText(ConfigChange const & change);

}  // namespace Agent
