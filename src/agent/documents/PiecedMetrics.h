// Metrics in the text format of Prometheus, written piece by piece. The records may change between two
// pieces. A disk, or some rows of its SMART table, are written at once, so they show one moment.
//
// prometheus-cpp writes the format and escapes quotation marks, backslashes and line ends in labels.
#pragma once

#include <prometheus/metric_family.h>

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <optional>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "agent/documents/Document.h"
#include "agent/documents/MetricDefinitions.h"

namespace Agent {

// A longer label value is cut. No regular device, tool or path has more.
inline constexpr std::size_t longestLabel = 256;  // bytes, before it is escaped

// Series of one family.
class MetricSeries {
 public:
   explicit MetricSeries(MetricDefinition const & definition);

   using Labels = std::initializer_list<std::string_view>;

   // The label values come in the order of the definition, as the device, file or table has them: they are
   // escaped here.
   void add(Labels labels, double value);
   // Nothing for a value that is not known.
   void add(Labels labels, std::optional<double> value);
   void add(Labels labels, prometheus::ClientMetric const & histogram);

   std::size_t size() const { return family_.metric.size(); }
   prometheus::MetricFamily take() { return std::move(family_); }

 private:
   prometheus::ClientMetric & addLabelled(Labels labels);

   MetricDefinition const & definition_;
   prometheus::MetricFamily family_;
};

// Adds the next series of a family, some dozens at most, and answers whether more are to come.
using SeriesSource = std::function<bool(MetricSeries &)>;

// A source of series that are added at once.
SeriesSource wholeSeries(std::function<void(MetricSeries &)> add);

struct MetricFamilySource {
   MetricDefinition const * definition;
   SeriesSource next;
};
using MetricSources = std::vector<MetricFamilySource>;

class PiecedMetrics final : public Document {
 public:
   // A piece ends with the series that make it as many as this: a few kilobytes.
   static constexpr std::size_t pieceSeries = 32;

   explicit PiecedMetrics(MetricSources families);

   std::string_view next() override;

 private:
   bool fill(std::vector<prometheus::MetricFamily> & piece);

   MetricSources families_;
   std::size_t at_ = 0;
   bool isBegun_ = false;  // the family at that position
   std::ostringstream text_;
};

}  // namespace Agent
