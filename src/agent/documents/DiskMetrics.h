// The metrics of the disks.
#pragma once

#include "agent/documents/PiecedMetrics.h"
#include "agent/documents/StateDocument.h"

namespace Agent {

// Of the disks that have a verdict now, absent ones included.
MetricSources diskMetrics(StateSources const & sources);

}  // namespace Agent
