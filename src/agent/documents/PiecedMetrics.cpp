#include "agent/documents/PiecedMetrics.h"

#include <prometheus/text_serializer.h>

#include <algorithm>
#include <string>

#include "base/Text.h"

namespace Agent {

namespace {

// Most texts are plain, and a scrape has thousands.
bool isPlain(std::string_view text) {
   return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~' && c != '\\'; });
}

// Spelled as in the log.
std::string labelValue(std::string_view text) {
   std::string_view const part = text.substr(0, longestLabel);
   return isPlain(part) ? std::string{part} : Base::escaped(Base::validUtf8(part));
}

}  // namespace

MetricSeries::MetricSeries(MetricDefinition const & definition) : definition_{definition} {
   family_.name = definition.name;
   family_.help = definition.help;
   family_.type = definition.type;
}

prometheus::ClientMetric & MetricSeries::addLabelled(Labels labels) {
   prometheus::ClientMetric & metric = family_.metric.emplace_back();
   metric.label.reserve(labels.size());
   auto name = definition_.labels.begin();
   for (std::string_view const value : labels)
      metric.label.push_back({*name++, labelValue(value)});
   return metric;
}

void MetricSeries::add(Labels labels, double value) {
   prometheus::ClientMetric & metric = addLabelled(labels);
   (definition_.type == Metric::Counter ? metric.counter.value : metric.gauge.value) = value;
}

void MetricSeries::add(Labels labels, std::optional<double> value) {
   if (value)
      add(labels, *value);
}

void MetricSeries::add(Labels labels, prometheus::ClientMetric const & histogram) {
   addLabelled(labels).histogram = histogram.histogram;
}

SeriesSource wholeSeries(std::function<void(MetricSeries &)> add) {
   return [add = std::move(add)](MetricSeries & series) {
      add(series);
      return false;
   };
}

PiecedMetrics::PiecedMetrics(MetricSources families) : families_{std::move(families)} {
   text_.exceptions(std::ios::badbit);  // so that the end of memory is no shorter text
}

// Collects the series of the next piece. Answers whether its first family has begun in an earlier one.
bool PiecedMetrics::fill(std::vector<prometheus::MetricFamily> & piece) {
   bool isContinued = false;
   for (std::size_t count = 0; at_ < families_.size() && count < pieceSeries;) {
      MetricSeries series{*families_[at_].definition};
      bool more = true;
      while (more && count + series.size() < pieceSeries)
         more = families_[at_].next(series);
      count += series.size();
      isContinued = isContinued || (isBegun_ && series.size() > 0);
      isBegun_ = more;
      at_ += more ? 0 : 1;
      if (series.size() > 0)
         piece.push_back(series.take());
   }
   return isContinued;
}

std::string_view PiecedMetrics::next() {
   std::vector<prometheus::MetricFamily> piece;
   bool const isContinued = fill(piece);
   // Without a help text the serializer writes one line before the series, the family's type.
   if (isContinued)
      piece.front().help.clear();
   text_.str({});
   prometheus::TextSerializer{}.Serialize(text_, piece);
   std::string_view const text = text_.view();
   return isContinued ? text.substr(text.find('\n') + 1) : text;
}

}  // namespace Agent
