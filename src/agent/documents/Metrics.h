// The metrics of the disks and of the agent in the text format of Prometheus, as `MetricDefinitions.h` lists
// them.
#pragma once

#include <memory>

#include "agent/documents/Document.h"
#include "agent/documents/StateDocument.h"
#include "agent/logs/MessageStore.h"
#include "agent/service/LoopWatch.h"

namespace Agent {

// The content type of the text format.
inline constexpr char metricsType[] = "text/plain; version=0.0.4; charset=utf-8";

struct MetricsInputs {
   StateSources state;
   MessageStore const & messages;
   Stalls stalls;
   Vorn::Seconds started;  // the agent, in framework time
};

// Written while it is read, some series at a time. What the references refer to must outlive it.
std::unique_ptr<Document> metricsDocument(MetricsInputs const & inputs);

}  // namespace Agent
