// The metrics of the unit as a whole, of the agent, and of its process.
#pragma once

#include "agent/documents/Metrics.h"
#include "agent/documents/PiecedMetrics.h"

namespace Agent {

MetricSources unitMetrics(MetricsInputs const & inputs);
MetricSources agentMetrics(MetricsInputs const & inputs);
// Without what /proc does not show.
MetricSources processMetrics(MetricsInputs const & inputs);

}  // namespace Agent
