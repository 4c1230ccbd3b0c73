// The metrics of the mount points.
#pragma once

#include "agent/documents/PiecedMetrics.h"
#include "agent/documents/StateDocument.h"

namespace Agent {

MetricSources mountMetrics(StateSources const & sources);

}  // namespace Agent
