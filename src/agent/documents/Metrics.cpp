#include "agent/documents/Metrics.h"

#include <iterator>
#include <utility>

#include "agent/documents/AgentMetrics.h"
#include "agent/documents/DiskMetrics.h"
#include "agent/documents/MountMetrics.h"
#include "agent/documents/PiecedMetrics.h"

namespace Agent {

std::unique_ptr<Document> metricsDocument(MetricsInputs const & inputs) {
   MetricSources families;
   for (auto && part : {unitMetrics(inputs), diskMetrics(inputs.state), mountMetrics(inputs.state),
                        agentMetrics(inputs), processMetrics(inputs)})
      families.insert(families.end(), part.begin(), part.end());
   return std::make_unique<PiecedMetrics>(std::move(families));
}

}  // namespace Agent
