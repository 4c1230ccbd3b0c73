// Metrics of the agent itself in the text format of Prometheus.
#pragma once

#include <string>

#include "agent/service/LoopWatch.h"

namespace Agent {

// The content type of the text format.
inline constexpr char metricsType[] = "text/plain; version=0.0.4; charset=utf-8";

std::string metricsText(Vorn::Seconds lastTurnAge, Stalls const & stalls);

}  // namespace Agent
