// The answer to the question whether the agent is alive.
#pragma once

#include <string>

#include "agent/service/LoopWatch.h"

namespace Agent {

// Ends with a line end.
std::string livenessDocument(Vorn::Seconds lastTurnAge, Stalls const & stalls);

}  // namespace Agent
